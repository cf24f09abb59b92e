// Temporary files of many threads at once: each is one stream's own.

#include "tuzutil/TMPSTRM.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

class TAtOnce : public TTempStreamTest {
    int Test(TTempStreamBuf *) override { return 1; }
};

constexpr int fsThreads = 16;
constexpr int fsRounds = 125;
constexpr int fsTogether = 5; // files that a thread has at a time: 10,000 in all

// What goes wrong with the files of one thread.
struct TFaults {
    std::atomic<int> notOpened{0};
    std::atomic<int> foreign{0};
};

std::string TextOf(int thread, int round, int number) {
    std::string text;
    for (int line = 0; line < 8; ++line)
        text += "thread " + std::to_string(thread) + " round " + std::to_string(round) + " file " +
                std::to_string(number) + " line " + std::to_string(line) + "\n";
    return text;
}

void UseFiles(int thread, TFaults &faults) {
    for (int round = 0; round < fsRounds; ++round) {
        std::vector<std::unique_ptr<TTempStream>> streams;
        for (int i = 0; i < fsTogether; ++i) {
            streams.push_back(std::make_unique<TTempStream>(64, "x", new TAtOnce));
            *streams.back() << TextOf(thread, round, i);
            streams.back()->flush();
            if (!streams.back()->good() || streams.back()->rdbuf()->QueryFirstBuffer())
                ++faults.notOpened;
        }
        for (int i = 0; i < fsTogether; ++i) {
            std::ostringstream out;
            TTempStream &stream = *streams[static_cast<std::size_t>(i)];
            stream.clear();
            stream.seekg(0);
            stream.rdbuf()->WriteTo(out);
            if (out.str() != TextOf(thread, round, i))
                ++faults.foreign;
        }
    }
}

} // namespace

TEST(TempFiles, TenThousandOfSixteenThreadsEachHoldTheirOwnBytes) {
    TFaults faults;
    std::vector<std::thread> threads;
    for (int i = 0; i < fsThreads; ++i)
        threads.emplace_back([i, &faults] { UseFiles(i, faults); });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(faults.notOpened, 0);
    EXPECT_EQ(faults.foreign, 0);
}
