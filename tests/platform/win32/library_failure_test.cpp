// Libraries on a system whose loader fails, with each error and with unusual texts.

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstring>
#include <windows.h>

namespace {

// What the calls of the system do.
struct TSystem {
    DWORD error = ERROR_MOD_NOT_FOUND; // of loading a library
    char const *text = nullptr;        // of the error; the system has none if this is null
} fsSystem;

HMODULE WINAPI LoadNothing(char const *) {
    SetLastError(fsSystem.error);
    return nullptr;
}

DWORD WINAPI TakeText(DWORD, void const *, DWORD, DWORD, char *buffer, DWORD, va_list *) {
    if (!fsSystem.text) {
        SetLastError(ERROR_MR_MID_NOT_FOUND);
        return 0;
    }
    std::size_t const length = std::strlen(fsSystem.text);
    std::memcpy(buffer, fsSystem.text, length + 1);
    return static_cast<DWORD>(length);
}

DWORD WINAPI TakeNoName(HMODULE, char *, DWORD) {
    return 0;
}

} // namespace

#define LoadLibraryA LoadNothing
#define FormatMessageA TakeText
#define GetModuleFileNameA TakeNoName
#include "platform/win32/library.cpp"
#undef GetModuleFileNameA
#undef FormatMessageA
#undef LoadLibraryA

namespace {

platform::TLoaderWords WordsOf(DWORD error, char const *text) {
    fsSystem = {error, text};
    platform::TLoaderWords words;
    EXPECT_EQ(platform::OpenLibrary("texts.dll", &words), nullptr);
    EXPECT_EQ(GetLastError(), error);
    return words;
}

TEST(LibraryFailure, SomeErrorsAreAboutALibraryThatExists) {
    for (DWORD const error :
         {ERROR_BAD_EXE_FORMAT, ERROR_EXE_MACHINE_TYPE_MISMATCH, ERROR_PROC_NOT_FOUND, ERROR_INVALID_ORDINAL,
          ERROR_DLL_INIT_FAILED, ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION})
        EXPECT_TRUE(WordsOf(error, "It cannot be loaded.\r\n").isAboutLibrary) << error;
    for (DWORD const error : {ERROR_MOD_NOT_FOUND, ERROR_FILE_NOT_FOUND, ERROR_FILENAME_EXCED_RANGE})
        EXPECT_FALSE(WordsOf(error, "It was not found.\r\n").isAboutLibrary) << error;
}

TEST(LibraryFailure, LineEndsAreCutOffTheText) {
    EXPECT_STREQ(WordsOf(ERROR_ACCESS_DENIED, "Access denied.\r\n").text, "Access denied.");
    EXPECT_STREQ(WordsOf(ERROR_ACCESS_DENIED, "Access denied.").text, "Access denied.");
}

TEST(LibraryFailure, AnErrorWithoutATextIsAboutNoLibrary) {
    for (char const *const text : {static_cast<char const *>(nullptr), "\r\n"}) {
        platform::TLoaderWords const words = WordsOf(ERROR_ACCESS_DENIED, text);
        EXPECT_STREQ(words.text, "");
        EXPECT_FALSE(words.isAboutLibrary);
    }
}

TEST(LibraryFailure, ALibraryThatTheSystemDoesNotKnowHasNoName) {
    char name[8] = "before";
    EXPECT_EQ(platform::LibraryName(nullptr, name, sizeof name), 0U);
}

} // namespace
