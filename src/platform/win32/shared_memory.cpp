// Named memory. Blocks are objects of the system, which deletes a block as soon as no process has it open.
//
// A block of OpenOrCreateSharedMemory() has one more page. This page begins with a TFooter, which says how large the
// block is, and whether its maker (the process that creates the block) has filled it. While the maker fills the block,
// the maker holds a named mutex and no other lock. If the maker ends, the system gives the mutex to a thread that waits
// for it. The system then deletes the unfinished block, because a thread that waits for the mutex does not have the
// block open. The system may do this a moment later: a thread that has just received the mutex may still find the
// unfinished block.

#include "platform/platform.h"

#include "platform/win32/kept_error.h"

#include <algorithm>
#include <atomic>
#include <new>
#include <stdio.h>
#include <string.h>
#include <windows.h>

using platform::Block;
using platform::TKeptError;

struct platform::Block {
    HANDLE mapping;
    HANDLE making; // the mutex, which this thread holds, if the block is unfinished; otherwise null
    void *view;
    std::size_t mapped; // in bytes, whole pages
};

namespace {

constexpr std::size_t fsPage = 4096;
constexpr char fsMark[16] = "tuzutil block 1";

struct TFooter {
    char mark[sizeof fsMark];
    std::uint32_t size;
    std::atomic<std::uint32_t> isReady;
};

// Returns the footer of a block, or null if the block has none.
TFooter *FooterOf(Block const &block) noexcept {
    if (block.mapped < 2 * fsPage)
        return nullptr;
    auto *const footer = reinterpret_cast<TFooter *>(static_cast<char *>(block.view) + block.mapped - fsPage);
    return memcmp(footer->mark, fsMark, sizeof fsMark) == 0 ? footer : nullptr;
}

// Maps a block. The result owns the handle `mapping`. On failure, closes the handle and returns null, with LastError().
Block *NewBlock(HANDLE mapping, void *&view) noexcept {
    if (!mapping)
        return nullptr;
    void *const mapped = MapViewOfFile(mapping, FILE_MAP_WRITE, 0, 0, 0);
    auto *const block = mapped ? new (std::nothrow) Block{mapping, nullptr, mapped, 0} : nullptr;
    if (mapped && !block) {
        UnmapViewOfFile(mapped);
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    }
    if (!block) {
        TKeptError const kept;
        CloseHandle(mapping);
        return nullptr;
    }
    MEMORY_BASIC_INFORMATION region;
    // No test gets here: the system knows each block that it has mapped.
    if (VirtualQuery(mapped, &region, sizeof region) == sizeof region)
        block->mapped = region.RegionSize;
    view = mapped;
    return block;
}

Block *FailWith(DWORD error) noexcept {
    SetLastError(error);
    return nullptr;
}

Block *Refuse(Block *block, DWORD error) noexcept {
    platform::CloseSharedMemory(block, block->view);
    return FailWith(error);
}

// Creates a mapping of `size` bytes. If a mapping of this name exists already, opens it and sets `exists`.
HANDLE Create(char const *name, DWORD size, bool &exists) noexcept {
    SetLastError(ERROR_SUCCESS); // a successful call sets an error only if the mapping exists already
    HANDLE const mapping = CreateFileMappingA(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, size, name);
    exists = GetLastError() == ERROR_ALREADY_EXISTS;
    return mapping;
}

// The mutex that the maker of a block holds. If a TMaking converts to true, this thread holds the mutex, and the
// destructor releases the mutex. After Take(), the caller must release the mutex instead. The name of the mutex
// contains a hash of the block's name, because the whole name may not fit. If the names of two blocks have the same
// hash, the makers of these blocks wait for each other.
class TMaking {
public:
    TMaking(char const *name, bool creates) noexcept {
        char mutexName[64];
        NameOf(name, mutexName);
        fMutex = creates ? CreateMutexA(nullptr, FALSE, mutexName)
                         : OpenMutexA(SYNCHRONIZE | MUTEX_MODIFY_STATE, FALSE, mutexName);
        if (!fMutex) {
            fIsUnknown = GetLastError() != ERROR_FILE_NOT_FOUND;
            return;
        }
        DWORD const result = WaitForSingleObject(fMutex, INFINITE);
        fWasAbandoned = result == WAIT_ABANDONED;
        if (result != WAIT_OBJECT_0 && !fWasAbandoned) {
            TKeptError const kept;
            CloseHandle(fMutex);
            fMutex = nullptr;
            fIsUnknown = true;
        }
    }
    TMaking(TMaking const &) = delete;
    TMaking &operator=(TMaking const &) = delete;
    ~TMaking() { Release(fMutex); }

    static void Release(HANDLE mutex) noexcept {
        TKeptError const kept;
        if (!mutex)
            return;
        ReleaseMutex(mutex);
        CloseHandle(mutex);
    }

    explicit operator bool() const noexcept { return fMutex != nullptr; }
    bool IsUnknown() const noexcept { return fIsUnknown; } // with LastError()
    bool WasAbandoned() const noexcept { return fWasAbandoned; }
    HANDLE Take() noexcept { // gives the mutex to the caller, who must release it
        HANDLE const mutex = fMutex;
        fMutex = nullptr;
        return mutex;
    }

private:
    static void NameOf(char const *name, char (&result)[64]) noexcept {
        constexpr char local[] = "Local\\";
        constexpr char global[] = "Global\\";
        if (strncmp(name, local, sizeof local - 1) == 0)
            name += sizeof local - 1;
        bool const isGlobal = strncmp(name, global, sizeof global - 1) == 0;
        std::uint64_t hash = 0xCBF29CE484222325; // FNV-1a
        for (char const *byte = name; *byte; ++byte)
            hash = (hash ^ static_cast<unsigned char>(*byte)) * 0x100000001B3;
        snprintf(result, sizeof result, "%stuzutil.block.%08lx%08lx", isGlobal ? global : "",
                 static_cast<unsigned long>(hash >> 32), static_cast<unsigned long>(hash & 0xFFFFFFFF));
    }

    HANDLE fMutex = nullptr;
    bool fIsUnknown = false; // the system has not told whether there is a maker
    bool fWasAbandoned = false;
};

bool IsUnfinished(Block const &block) noexcept {
    TFooter const *const footer = FooterOf(block);
    return footer && footer->isReady.load(std::memory_order_acquire) == 0;
}

// Returns whether a maker may have ended before it wrote the footer. The system deletes the block of such a maker in a
// moment. If a block without a footer still exists after many tries, CreateSharedMemory() made it.
bool MayVanish(Block const &block, TMaking const &making, int tries) noexcept {
    return making.WasAbandoned() && !FooterOf(block) && tries < 100;
}

HANDLE OpenMapping(char const *name) noexcept {
    return OpenFileMappingA(FILE_MAP_WRITE, FALSE, name);
}

} // namespace

Block *platform::CreateSharedMemory(char const *name, std::int32_t size, void *&view) noexcept {
    if (size < 1)
        return FailWith(ERROR_INVALID_PARAMETER);
    bool exists = false;
    HANDLE const mapping = Create(name, static_cast<DWORD>(size), exists);
    if (!exists)
        return NewBlock(mapping, view);
    CloseHandle(mapping);
    return FailWith(ERROR_ALREADY_EXISTS);
}

// If the mutex of a maker exists, this function waits for the mutex, because the maker may still fill the block. A
// maker creates its mutex before its block, so this function looks for the mutex only after it has found a block. If it
// cannot tell whether there is a maker, it fails: the block may lack its footer, and would look like a plain one.
Block *platform::OpenSharedMemory(char const *name, void *&view) noexcept {
    HANDLE mapping = OpenMapping(name);
    if (!mapping)
        return nullptr;
    CloseHandle(mapping);
    TMaking const making(name, false);
    if (making.IsUnknown())
        return nullptr;
    for (int tries = 0;; ++tries) {
        Block *const block = NewBlock(OpenMapping(name), view);
        if (!block)
            return nullptr;
        if (IsUnfinished(*block))
            return Refuse(block, ERROR_FILE_NOT_FOUND);
        if (!MayVanish(*block, making, tries))
            return block;
        CloseSharedMemory(block, block->view);
        Sleep(1);
    }
}

Block *platform::OpenOrCreateSharedMemory(char const *name, std::int32_t size, void *&view, bool &isNew) noexcept {
    isNew = false;
    if (size < 1)
        return FailWith(ERROR_INVALID_PARAMETER);
    TMaking making(name, true);
    if (!making)
        return nullptr;
    auto const bytes = static_cast<std::size_t>(size);
    std::size_t const pages = (bytes + fsPage - 1) / fsPage * fsPage;
    for (int tries = 0;; ++tries) {
        bool exists = false;
        HANDLE const mapping = Create(name, static_cast<DWORD>(pages + fsPage), exists);
        Block *const block = NewBlock(mapping, view);
        if (!block)
            return nullptr;
        if (!exists) {
            auto *const footer = new (static_cast<char *>(block->view) + pages) TFooter{{}, {}, {}};
            footer->size = static_cast<std::uint32_t>(size);
            memcpy(footer->mark, fsMark, sizeof fsMark);
            block->making = making.Take();
            isNew = true;
            return block;
        }
        if (!IsUnfinished(*block) && !MayVanish(*block, making, tries))
            return SharedMemorySize(block) < bytes ? Refuse(block, ERROR_BAD_LENGTH) : block;
        CloseSharedMemory(block, block->view);
        Sleep(1);
    }
}

bool platform::PublishSharedMemory(Block *block) noexcept {
    FooterOf(*block)->isReady.store(1, std::memory_order_release);
    TMaking::Release(block->making);
    block->making = nullptr;
    return true;
}

std::size_t platform::SharedMemorySize(Block const *block) noexcept {
    // A program that writes beyond its block may have changed the size in the footer.
    TFooter const *const footer = FooterOf(*block);
    return footer ? std::min<std::size_t>(footer->size, block->mapped - fsPage) : block->mapped;
}

void platform::CloseSharedMemory(Block *block, void *view) noexcept {
    UnmapViewOfFile(view);
    CloseHandle(block->mapping);
    TMaking::Release(block->making);
    delete block;
}
