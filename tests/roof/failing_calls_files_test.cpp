// Destinations, temporary files, directories and libraries while calls of the system fail. failing_calls.h says what is
// tested.

#include "failing_calls.h"

#include "tuzutil/tuzutil.h"

#include <cerrno>
#include <string_view>

namespace {

TTrace::Category const fsCategory(8, "FailingCalls");

void WriteRecords() {
    for (int i = 0; i < 3; ++i)
        TTracePoint::Write(TTrace::error, fsCategory, {"f", 1}, "record %d", i);
}

// Checks that a file has the three records, each whole, once, and in the order in which they were written. Each write
// that failed may have cost one record, and nothing else may. A file that was not opened must have been reported.
TOutcome HasRecords(std::string const &name, std::string_view prefix, bool isOpen, unsigned long error) {
    calls::TOwn const own;
    std::filesystem::path const file = Folder().Native(name);
    if (!isOpen) {
        // The reason why a directory was not made is traced. The file then has no directory.
        fsToldError = CountFailed(names::directories) == 0 ? static_cast<int>(error) : 0;
        bool const isEmpty = !std::filesystem::exists(file) || std::filesystem::file_size(file) == 0;
        return error != 0 && isEmpty ? reported : wrong;
    }
    std::ifstream in(file); // reads line ends as the system writes them
    std::string const content(std::istreambuf_iterator<char>(in), {});
    if (!in || (!content.empty() && content.back() != '\n'))
        return wrong;
    std::size_t begin = 0;
    long lost = 0;
    for (int i = 0; i < 3; ++i) {
        std::size_t const end = content.find('\n', begin);
        std::string const line = content.substr(begin, end == content.npos ? end : end - begin);
        std::string const expected = std::string(prefix) + "record " + std::to_string(i);
        if (line.size() >= expected.size() && line.substr(line.size() - expected.size()) == expected)
            begin = end + 1;
        else
            ++lost;
    }
    if (begin != content.size() || lost > CountFailed(names::recordWrites))
        return wrong;
    return lost == 0 ? done : reported; // a record that the system refuses is lost, as the headers say
}

TOutcome TracesToAFile() {
    Remove("traces");
    bool isOpen = false;
    unsigned long error = 0;
    {
        TTraceStream trace(Folder().Name("traces\\new\\trace.log").c_str());
        trace.SetDisplayPrefix(0);
        auto const &file = static_cast<TTraceStreamBase &>(*trace.QueryPointer());
        isOpen = file.IsOpen();
        error = file.QueryOpenError();
        WriteRecords();
    }
    return HasRecords("traces\\new\\trace.log", "E [f:1] ", isOpen, error);
}

TOutcome TracesToASharedFile() {
    Remove("shared.log");
    bool isOpen = false;
    unsigned long error = 0;
    {
        TTraceSharedFile const trace(Folder().Name("shared.log").c_str());
        auto const &file = static_cast<TTraceSharedFileBase &>(*trace.QueryPointer());
        isOpen = file.IsOpen();
        error = file.QueryOpenError();
        WriteRecords();
    }
    return HasRecords("shared.log", " E [f:1] ", isOpen, error);
}

// Another process was killed while it wrote a record. The next record must be on a line of its own.
TOutcome TracesAfterACutLine() {
    Remove("cut.log");
    bool isOpen = false;
    {
        TTraceSharedFile const trace(Folder().Name("cut.log").c_str());
        isOpen = static_cast<TTraceSharedFileBase &>(*trace.QueryPointer()).IsOpen();
        {
            calls::TOwn const own;
            std::ofstream(Folder().Native("cut.log"), std::ios_base::app) << "cut"; // no line end
        }
        TTracePoint::Write(TTrace::error, fsCategory, {"f", 1}, "record");
    }
    calls::TOwn const own;
    std::ifstream in(Folder().Native("cut.log"));
    int records = 0;
    int cuts = 0;
    for (std::string line; std::getline(in, line);) {
        bool const isRecord = line.find("record") != line.npos;
        if (isRecord == (line.find("cut") != line.npos) && !line.empty())
            return wrong;
        records += isRecord;
        cuts += line == "cut";
    }
    if (cuts != 1 || records > 1)
        return wrong;
    return records == 1 ? done : isOpen && CountFailed(names::recordWrites) == 0 ? wrong : reported;
}

class TAlways : public TTempStreamTest {
public:
    int Test(TTempStreamBuf *) override { return 1; }
};

std::string Numbers() {
    std::string text;
    for (int i = 0; i < 20000; ++i)
        text += std::to_string(i) + ' ';
    return text;
}

// Reads from the beginning to the end of a stream.
bool ReadAll(std::streambuf &buffer, std::string &seen) {
    if (buffer.pubseekpos(0) != std::streampos(0))
        return false;
    seen.assign(200000, '\0');
    seen.resize(static_cast<std::size_t>(buffer.sgetn(seen.data(), static_cast<std::streamsize>(seen.size()))));
    return true;
}

// Checks that the failed attempt has told how many bytes the stream took, that these bytes stay readable, and that the
// stream takes the other bytes if the system no longer fails.
TOutcome MovesToATemporaryFile() {
    static std::string const text = Numbers();
    TCapture capture(TTrace::error);
    TTempStream stream("message", new TAlways);
    std::streambuf &buffer = *stream.rdbuf();
    auto const size = static_cast<std::streamsize>(text.size());
    std::streamsize const taken = buffer.sputn(text.data(), size);
    bool isWhole = taken == size && buffer.pubsync() == 0;
    std::string seen;
    isWhole = isWhole && ReadAll(buffer, seen);
    if (isWhole && seen != text) {
        if (seen != text.substr(0, seen.size()) || CountFailed(names::reads) == 0)
            return wrong;
        isWhole = false; // a failure to read looks like the end of the file, as the header says
    }
    if (CountFailed(names::temporaryFiles) != 0 && taken == size && !HasTraced(capture, "Opened temp file"))
        return wrong;
    if (taken != size && CountFailed(names::writes) == 0 && !HasTraced(capture, "Unable to open temp file, error="))
        return wrong;

    calls::TOwn const own;
    auto const end = std::streamoff(taken);
    if (buffer.pubsync() != 0 || buffer.pubseekpos(0) != std::streampos(0))
        return wrong;
    if (!ReadAll(buffer, seen) || seen != text.substr(0, static_cast<std::size_t>(taken)))
        return wrong;
    if (buffer.pubseekoff(0, std::ios::end) != std::streampos(end) ||
        buffer.sputn(text.data() + taken, size - taken) != size - taken || buffer.pubsync() != 0)
        return wrong;
    if (!ReadAll(buffer, seen) || seen != text)
        return wrong;
    return isWhole ? done : reported;
}

// Reading by WriteTo() reports a failure, unlike reading by the functions of the standard stream.
TOutcome CopiesATemporaryFile() {
    static std::string const text = Numbers();
    TTempStream stream("message", new TAlways);
    std::ostringstream out;
    std::streamsize const size = static_cast<std::streamsize>(text.size());
    if (stream.rdbuf()->sputn(text.data(), size) != size || stream.rdbuf()->pubseekpos(0) != std::streampos(0))
        return reported;
    unsigned long const copied = static_cast<TTempStreamBuf *>(stream.rdbuf())->WriteTo(out);
    std::string const seen = out.str();
    if (copied != seen.size() || seen != text.substr(0, seen.size()))
        return wrong;
    return seen == text ? (out ? done : reported) : out ? wrong : reported;
}

// FindFirst() and FindNext() end silently if the directory cannot be read, as the header says. Nothing may be listed
// twice or as what it is not, and nothing may be missing unless a call failed.
TOutcome ListsADirectory() {
    TDirectory folder(Folder().Name("listed").c_str());
    int isDirectory = 0;
    std::set<std::string> names;
    TString name;
    for (TString path = folder.FindFirst(&isDirectory, &name); path; path = folder.FindNext(&isDirectory, &name)) {
        std::string const text = static_cast<char const *>(name);
        if ((text == "sub") != (isDirectory != 0) || !names.insert(text).second)
            return wrong;
    }
    for (std::string const &each : names) {
        if (each != "one" && each != "two" && each != "sub")
            return wrong;
    }
    if (names.size() == 3)
        return done;
    return CountFailed(names::lists) != 0 ? reported : wrong;
}

// NativeEntries() tells that it cannot read a directory.
TOutcome ListsNativeEntries() {
    std::set<std::string> names;
    try {
        for (auto const &entry : TDirectory(Folder().Name("listed").c_str()).NativeEntries())
            names.insert(entry.path().filename().string());
    } catch (std::filesystem::filesystem_error const &problem) {
        fsToldError = problem.code().value();
        return reported;
    }
    return names == std::set<std::string>{"one", "sub", "two"} ? done : wrong;
}

TOutcome MakesDirectories() {
    Remove("made");
    TCapture capture(TTrace::error | TTrace::warning);
    int const result = TDirectory::MakeTree(Folder().Name("made\\a\\b").c_str());
    bool const isTraced = HasTraced(capture, "Unable to create directory ");
    calls::TOwn const own;
    bool const isThere = Folder().HasFolder("made\\a\\b");
    if (result != 0)
        return isTraced && !isThere ? reported : wrong;
    return isThere ? done : wrong;
}

#if defined(_WIN32)
char const fsLibrary[] = "version.dll";
#else
char const fsLibrary[] = "libm.so.6";
#endif

TOutcome LoadsALibrary() {
    try {
        TDll const program(fsLibrary);
        return program.isOpen() && program.GetHandle() ? done : wrong;
    } catch (TAccessError const &problem) {
        std::string_view const text = problem.text(0);
        return problem.code() && text.find(std::string("Unable to find or open ") + fsLibrary) != text.npos ? reported
                                                                                                            : wrong;
    }
}

#if !defined(_WIN32)
// If the system does not tell the path of the program, the search does not look beside it.
TOutcome FindsTheProgram() {
    TString const former = TSearchNLSPath::fsNLSpath;
    TSearchNLSPath::fsNLSpath = "%E\\failing_calls_files_test";
    TSearchNLSPath search("program");
    bool const isFound = search.FindFile(TString("C")) != nullptr;
    TSearchNLSPath::fsNLSpath = former;
    return isFound ? done : reported;
}
#endif

std::string const &LibraryOfTexts() {
    static std::string const name = TTempFolder::FromNative(TUZUTIL_TEST_LANGUAGES) + "\\German\\mail.dll";
    return name;
}

// If the library cannot be loaded, the search finds the program. If the system does not tell the name of the library,
// the search finds nothing.
TOutcome FindsALibraryOfTexts() {
    TSearchNLSPath search(LibraryOfTexts().c_str());
    char const *const path = search.FindInPath();
    bool const isFound = path && std::string_view(path).ends_with("mail.dll");
    return isFound ? done : reported;
}

// The text is traced as missing, and the exception says so.
TOutcome LoadsText(bool isWide) {
    TCapture capture(TTrace::error);
    try {
        TDll const library(LibraryOfTexts().c_str());
        std::string_view const expected = "%2$s hat %1$d Nachrichten";
        if (isWide) {
            TString const text = library.loadMessage(17, 1);
            return text.IsUnicode() && text.length() == 2 * expected.size() ? done : wrong;
        }
        return std::string_view(library.loadMessage(17, 0)) == expected ? done : wrong;
    } catch (TAccessError const &problem) {
        std::string_view const text = problem.text(0);
        bool const isOpen = text == "Error getting message";
        bool const isTold = isOpen ? !capture.Entries().empty() : text.find("Unable to find or open ") != text.npos;
        return isTold ? reported : wrong;
    }
}

TOutcome LoadsAText() {
    return LoadsText(false);
}

TOutcome LoadsAWideText() {
    return LoadsText(true);
}

#if !defined(_WIN32)
TOperation const fsOperations[] = {
    // If a directory is not made, MakeTree() tries the one above, and then this one again.
    {"TracesToAFile", TracesToAFile, {"close", "mkdir"}, true, true},
    // Records are written even if the lock of all shared files cannot be had, and if it is unknown who else has the
    // file.
    {"TracesToASharedFile",
     TracesToASharedFile,
     {"close", "closedir", "fdopendir", "flock", "fstat", "fstatat", "ftruncate", "lseek", "mmap", "munmap", "openat",
      "posix_fallocate", "pthread_mutex_lock", "readdir", "unlinkat"},
     true,
     true},
    // If it is unknown how the file ends, an empty line comes before the record.
    {"TracesAfterACutLine",
     TracesAfterACutLine,
     {"close", "closedir", "fdopendir", "flock", "fstat", "fstatat", "ftruncate", "lseek", "mmap", "munmap", "openat",
      "posix_fallocate", "pread", "pthread_mutex_lock", "readdir", "unlinkat"},
     true,
     true},
    // The file is looked for under two names.
    {"FindsTheProgram", FindsTheProgram, {"stat"}},
    // A failure to read is harmless only at the end of the file.
    {"MovesToATemporaryFile", MovesToATemporaryFile, {"close", "fclose", "read"}, true, true},
    {"CopiesATemporaryFile", CopiesATemporaryFile, {"close", "fclose"}, true, true},
    // The end of a directory is told by readdir() too.
    {"ListsADirectory", ListsADirectory, {"closedir", "readdir"}, true},
    {"ListsNativeEntries", ListsNativeEntries, {"closedir"}, true, false, false},
    {"MakesDirectories", MakesDirectories, {"mkdir"}},
    // A library is looked for at several places.
    {"LoadsALibrary", LoadsALibrary, {"access", "dlopen", "readlink", "stat"}},
    {"LoadsAText", LoadsAText, {"dlopen", "stat"}},
    {"LoadsAWideText", LoadsAWideText, {"dlopen", "stat"}},
    {"FindsALibraryOfTexts", FindsALibraryOfTexts, {"dlopen", "stat"}},
};
#else
TOperation const fsOperations[] = {
    // If it is unknown whether a directory exists, MakeTree() tries to make it. If the end of the file is unknown, the
    // record is written where the last one ended.
    {"TracesToAFile", TracesToAFile, {"CloseHandle", "GetFileAttributesA", "SetFilePointerEx", "_mkdir"}, false, true},
    // Records are written even if the lock of all shared files cannot be had, and if it is unknown who else has the
    // file, or where it ends.
    {"TracesToASharedFile",
     TracesToASharedFile,
     {"CloseHandle", "CreateFileA", "CreateMutexA", "SetFilePointerEx", "WaitForSingleObject"},
     false,
     true},
    // If it is unknown how the file ends, an empty line comes before the record.
    {"TracesAfterACutLine",
     TracesAfterACutLine,
     {"CloseHandle", "CreateFileA", "CreateMutexA", "ReadFile", "SetFilePointerEx", "WaitForSingleObject"},
     false,
     true},
    // A failure to read is harmless only at the end of the file.
    {"MovesToATemporaryFile", MovesToATemporaryFile, {"CloseHandle", "ReadFile"}, false, true},
    {"CopiesATemporaryFile", CopiesATemporaryFile, {"CloseHandle"}, false, true},
    // The end of a directory is told by _findnext64() too.
    {"ListsADirectory", ListsADirectory, {"_findclose", "_findnext64"}},
    {"ListsNativeEntries", ListsNativeEntries},
    {"MakesDirectories", MakesDirectories, {"GetFileAttributesA", "_mkdir"}},
    // If the mode is not set, the system may open a dialogue box, and the library is loaded nevertheless.
    {"LoadsALibrary", LoadsALibrary, {"SetThreadErrorMode"}},
    {"LoadsAText", LoadsAText, {"SetThreadErrorMode"}},
    {"LoadsAWideText", LoadsAWideText, {"SetThreadErrorMode"}},
    {"FindsALibraryOfTexts", FindsALibraryOfTexts, {"SetThreadErrorMode"}},
};
#endif

INSTANTIATE_TEST_SUITE_P(Files, FailingCalls, testing::ValuesIn(fsOperations), NameOf);

} // namespace
