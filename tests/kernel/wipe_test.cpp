#include "support/FreeWatch.h"

#include "tuzutil/TSTRING.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

char const *fsWatched = nullptr;
std::size_t fsOffset = 0;
char fsSeen[64];
std::size_t fsCount = 0;
bool fsIsFreed = false;

std::string const fsZeros(8, '\0');

void Watch(TString const &text) {
    WatchFree(text, sizeof(TStringBuffer), text.length());
}

} // namespace

void WatchFree(char const *bytes, std::size_t offset, std::size_t count) {
    fsWatched = bytes;
    fsOffset = offset;
    fsCount = count < sizeof fsSeen ? count : sizeof fsSeen;
    fsIsFreed = false;
}

void NoteFree(void const *block) {
    if (fsWatched && block == fsWatched - fsOffset) {
        std::memcpy(fsSeen, fsWatched, fsCount);
        fsIsFreed = true;
        fsWatched = nullptr;
    }
}

std::string const &SeenAtFree() {
    static std::string result;
    return result = fsIsFreed ? std::string(fsSeen, fsCount) : "not freed";
}

TEST(Wipe, AnOrdinaryBufferIsFreedAsItIs) {
    {
        TString text("password");
        Watch(text);
    }
    // The first bytes of a free block belong to the allocator, but nothing has been zeroed before it got them.
    EXPECT_EQ(SeenAtFree(), "password");
}

TEST(Wipe, AFlaggedBufferIsZeroedByItsLastHolder) {
    {
        TStringAndWipe secret("password");
        Watch(secret);
        {
            TString const copy(secret);
            secret = TStringAndWipe("other");
            EXPECT_EQ(SeenAtFree(), "not freed");
        }
        EXPECT_EQ(SeenAtFree(), fsZeros);
    }
}

TEST(Wipe, AFlaggedBufferIsZeroedWhenAnotherTakesItsPlace) {
    void (*const changes[])(TString &) = {
        [](TString &text) { text += "more"; }, [](TString &text) { text.change("pass", "X"); },
        [](TString &text) { text[20] = 'x'; }, [](TString &text) { text = TString("x"); }};
    for (auto const change : changes) {
        TString secret("password");
        secret.SetWipeOnDelete(1);
        Watch(secret);
        change(secret);
        EXPECT_EQ(SeenAtFree(), fsZeros);
    }
}
