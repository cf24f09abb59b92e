#pragma once

// What the tests of the headers' examples look at.

#include <gtest/gtest.h>

#include <iostream>
#include <sstream>
#include <string>

// Catches what is written to std::cout while it exists.
class TShown {
public:
    TShown() : fFormer(std::cout.rdbuf(fText.rdbuf())) {}
    TShown(TShown const &) = delete;
    TShown &operator=(TShown const &) = delete;
    ~TShown() { std::cout.rdbuf(fFormer); }

    std::string Text() const { return fText.str(); }

private:
    std::ostringstream fText;
    std::streambuf *fFormer;
};
