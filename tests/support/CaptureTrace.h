#ifndef TUZUTIL_TESTS_CAPTURETRACE_H
#define TUZUTIL_TESTS_CAPTURETRACE_H

// A trace destination that keeps the entries that it receives, and a class whose objects hold such a destination.

#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/TRACE.h"
#include "tuzutil/TXTMSG.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

struct TSeenEntry {
    unsigned long level;
    std::string category;
    std::string text;
    std::string file;
    unsigned long line;

    bool operator==(TSeenEntry const &) const = default;
};

inline std::ostream &operator<<(std::ostream &out, TSeenEntry const &entry) {
    return out << std::hex << "level x" << entry.level << std::dec << ' ' << entry.category << " \"" << entry.text
               << "\" " << entry.file << ':' << entry.line;
}

class TCaptureDestination : public TTrace::Base {
public:
    TCaptureDestination() = default;
    TCaptureDestination(unsigned long level, unsigned long component) : Base(level, component) {}
    ~TCaptureDestination() override { Unlink(); }

    void Write(unsigned long level, TTrace::Category const &category, TTextMessage const &message) override {
        char const *const text = message;
        char const *const file = message.QueryFile();
        entries.push_back({level, static_cast<char const *>(category.QueryString()), text ? text : "(null)",
                           file ? file : "(null)", message.QueryLine()});
    }
    void Change() override { ++changes; }

    std::vector<TSeenEntry> entries;
    int changes = 0;
};

// While an object of this class exists, it captures all entries of the given levels and components.
class TCapture {
public:
    explicit TCapture(unsigned long level = 0xFFFFFFFF, unsigned long component = 0xFFFFFFFF)
        : fDestination(Made(level, component)) {
        trace.QueryPointer() = TTrace::Pointer(fDestination);
    }

    TCaptureDestination *operator->() { return fDestination; }
    std::vector<TSeenEntry> &Entries() { return fDestination->entries; }

    // Checks the only entry that was written since the last call. Of its line number, checks only that it is not 0.
    void ExpectOne(unsigned long level, char const *category, char const *text, char const *file) {
        ASSERT_EQ(Entries().size(), 1u);
        TSeenEntry const entry = Entries()[0];
        Entries().clear();
        EXPECT_EQ(entry.level, level);
        EXPECT_EQ(entry.category, category);
        EXPECT_EQ(entry.text, text);
        EXPECT_EQ(entry.file, file);
        EXPECT_NE(entry.line, 0u);
    }
    void ExpectNone() {
        for (TSeenEntry const &entry : Entries())
            ADD_FAILURE() << "unexpected entry: " << entry;
        Entries().clear();
    }

    TTrace trace;

private:
    // Other threads may write entries. The lock keeps their entries away until the members are constructed.
    static TCaptureDestination *Made(unsigned long level, unsigned long component) {
        TMutexSemaphoreEntry const lock(TTrace::Base::fsMutex, TMutexSemaphore::fsInfinite);
        return new TCaptureDestination(level, component);
    }

    TCaptureDestination *fDestination;
};

#endif
