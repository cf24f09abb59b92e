#include "tuzutil/TMPSTRM.h"

#include "support/CaptureTrace.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <signal.h>
#include <sstream>
#include <sys/resource.h>
#include <vector>

namespace {

class TAtOnce : public TTempStreamTest {
public:
    int Test(TTempStreamBuf *) override { return 1; }
};

std::string All(TTempStream &stream) {
    std::ostringstream out;
    stream.clear();
    stream.seekg(0);
    stream.rdbuf()->WriteTo(out);
    return out.str();
}

// What the open files of this process are called, of those that have no name any more.
std::vector<std::string> Nameless() {
    std::vector<std::string> names;
    for (auto const &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        std::string const name = std::filesystem::read_symlink(entry.path(), gone).string();
        if (name.find(" (deleted)") != std::string::npos)
            names.push_back(name);
    }
    return names;
}

class TLimit {
public:
    TLimit(int resource, rlim_t value) : fResource(resource) {
        ::getrlimit(static_cast<__rlimit_resource>(resource), &fBefore);
        rlimit const limit = {value, fBefore.rlim_max};
        ::setrlimit(static_cast<__rlimit_resource>(resource), &limit);
    }
    TLimit(TLimit const &) = delete;
    TLimit &operator=(TLimit const &) = delete;
    ~TLimit() { ::setrlimit(static_cast<__rlimit_resource>(fResource), &fBefore); }

private:
    int fResource;
    rlimit fBefore{};
};

} // namespace

TEST(TempFile, HasNoNameAndGoesWithItsStream) {
    std::size_t const before = Nameless().size();
    {
        TTempStream stream("named", new TAtOnce);
        stream << "abc" << std::flush;
        ASSERT_EQ(Nameless().size(), before + 1);
        EXPECT_EQ(Nameless().back().find("named"), std::string::npos);
    }
    EXPECT_EQ(Nameless().size(), before);
}

TEST(TempFile, ThatMayNotGrowKeepsWhatWasAccepted) {
    ::signal(SIGXFSZ, SIG_IGN);
    TTempStream stream(100, "x", new TAtOnce);
    std::string accepted;
    {
        TLimit const limit(RLIMIT_FSIZE, 1234);
        for (int i = 0; i < 5000 && stream.put(static_cast<char>('a' + i % 26)).good(); ++i)
            accepted += static_cast<char>('a' + i % 26);
        EXPECT_TRUE(stream.bad());
        EXPECT_GE(accepted.size(), 1234u);
        EXPECT_LT(accepted.size(), 1400u);
    }
    EXPECT_EQ(All(stream), accepted);
}

TEST(TempFile, WithoutDescriptorsThereIsNone) {
    TCapture capture(TTrace::error);
    TTempStream first("x", new TAtOnce); // a sanitizer's first look at a class may need a descriptor
    first << 'a';
    capture.Entries().clear();
    TTempStream stream(4, "x", new TAtOnce);
    {
        TLimit const limit(RLIMIT_NOFILE, 0);
        stream << 'a';
    }
    EXPECT_TRUE(stream.bad());
    capture.ExpectOne(TTrace::error, "MemStream", "Unable to open temp file, error=24(Too many open files)",
                      "src/utility/TMPSTRM");
    stream.clear();
    stream << 'b';
    EXPECT_EQ(All(stream), "b");
}
