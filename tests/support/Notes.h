#ifndef TUZUTIL_TESTS_NOTES_H
#define TUZUTIL_TESTS_NOTES_H

// While an object of TNotes exists, it records the reports of the library, each with its file and line. If two
// different reports have the same file and line, the test fails.

#include "tuzutil/BINSTRM.h"
#include "tuzutil/EXCEPTN.h"
#include "tuzutil/TRACE.h"
#include "tuzutil/TXTMSG.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <utility>

class TNotes {
public:
    TNotes() { fTrace.QueryPointer() = TTrace::Pointer(new TDestination(*this)); }

    // Also records the exception that `call` throws.
    template <typename Call>
    void Catch(Call call) {
        try {
            call();
            ADD_FAILURE() << "nothing was thrown";
        } catch (TException const &problem) {
            ASSERT_EQ(problem.locationCount(), 1u);
            TExceptionLocation const &place = *problem.locationAtIndex(0);
            Add(place.fileName(), place.lineNumber(), problem.text(0));
        }
    }

    // Returns how many different reports of a file were recorded so far.
    std::size_t Count(std::string const &file) const {
        std::size_t count = 0;
        for (auto const &[place, text] : fTexts)
            count += place.first == file;
        return count;
    }

private:
    class TDestination : public TTrace::Base {
    public:
        // Takes all levels except "trap", because a call of a pure function ends the process if that level is traced.
        explicit TDestination(TNotes &notes) : Base(joinsLater, ~TTrace::trap & 0xFFFFFFFF, 0xFFFFFFFF), fNotes(notes) {
            Join();
        }
        ~TDestination() override { Unlink(); }

        void Write(unsigned long, TTrace::Category const &, TTextMessage const &message) override {
            fNotes.Add(static_cast<char const *>(message.QueryFile()), message.QueryLine(), FormatOf(message));
        }

    private:
        // Returns the format of a message. The binary form contains it after the store, the set and the number.
        static std::string FormatOf(TTextMessage const &message) {
            std::stringstream bytes;
            ToBinaryStream out(bytes, 1);
            message.WriteToBinaryStream(out);
            TiBinaryStream in(bytes, 1);
            TString store, format;
            std::int32_t set = 0, number = 0;
            in >> store >> set >> number >> format;
            return static_cast<char const *>(format);
        }

        TNotes &fNotes;
    };

    void Add(std::string const &file, unsigned long line, std::string const &text) {
        EXPECT_NE(line, 0u) << file << ": " << text;
        auto const [known, isNew] = fTexts.try_emplace({file, line}, text);
        EXPECT_EQ(known->second, text) << "two reports at line " << line << " of " << file;
    }

    std::map<std::pair<std::string, unsigned long>, std::string> fTexts;
    TTrace fTrace;
};

#endif
