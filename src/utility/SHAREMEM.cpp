// ipcSharedMemory: a block of memory that processes share by its name. The object owns its mapping of the block. The
// platform removes a block that no process uses any more, and lets only one process fill a new block. Nothing is
// traced, because callers query the state.

#include "tuzutil/SHAREMEM.h"

#include "platform/platform.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

namespace {

enum State : std::int32_t { good, notCreated, noName, notOpened };

// Returns the size in 32 bits, or 0 if the size does not fit in 32 bits.
std::int32_t SizeOf(long size) noexcept {
    return size >= INT32_MIN && size <= INT32_MAX ? static_cast<std::int32_t>(size) : 0;
}

} // namespace

// The part of an ipcSharedMemory that holds the platform's block.
class osSharedMemory {
public:
    enum TUse { create, open, openOrCreate };

    osSharedMemory(ipcSharedMemory &owner, char const *name, TUse use) noexcept;
    osSharedMemory(osSharedMemory const &) = delete;
    osSharedMemory &operator=(osSharedMemory const &) = delete;
    virtual ~osSharedMemory();

    char *Name() const noexcept { return fName; }
    void *Pointer() const noexcept { return fView; }
    int Owner() const noexcept { return fIsOwner; }
    int Error() const noexcept { return static_cast<int>(fError); }
    // No test gets here: only an object with a block is asked for its size.
    std::size_t Size() const noexcept { return fMapping ? platform::SharedMemorySize(fMapping) : 0; }

    void Publish() noexcept;

private:
    platform::Block *Obtain(TUse use) noexcept;
    void Fail(State state) noexcept;

    ipcSharedMemory &fOwner;
    platform::Block *fMapping = nullptr;
    char *fName = nullptr;
    std::int32_t fIsOwner;
    void *fView = nullptr;
    std::uint32_t fError = 0;
};

osSharedMemory::osSharedMemory(ipcSharedMemory &owner, char const *name, TUse use) noexcept
    : fOwner(owner), fIsOwner(use == create) {
    if (!name || !*name) {
        owner.fState = noName;
        fError = platform::badArgument;
        return;
    }
    std::size_t const size = std::strlen(name) + 1;
    fName = static_cast<char *>(std::malloc(size));
    if (!fName) {
        platform::SetLastError(platform::noMemory);
        Fail(notCreated);
        return;
    }
    std::memcpy(fName, name, size);
    fMapping = Obtain(use);
    if (!fMapping)
        Fail(use == open ? notOpened : notCreated);
}

platform::Block *osSharedMemory::Obtain(TUse use) noexcept {
    if (use == create)
        return platform::CreateSharedMemory(fName, fOwner.fSize, fView);
    if (use == open)
        return platform::OpenSharedMemory(fName, fView);
    bool isNew = false;
    platform::Block *const block = platform::OpenOrCreateSharedMemory(fName, fOwner.fSize, fView, isNew);
    fIsOwner = isNew;
    return block;
}

void osSharedMemory::Fail(State state) noexcept {
    fError = platform::LastError();
    fOwner.fState = state;
    fView = nullptr;
}

// Called after this object's block has been filled. If the platform can publish the block, other objects can open it
// from now on. Otherwise the block is closed, and the state becomes notCreated.
void osSharedMemory::Publish() noexcept {
    if (platform::PublishSharedMemory(fMapping))
        return;
    void *const view = fView;
    Fail(notCreated);
    platform::CloseSharedMemory(fMapping, view);
    fMapping = nullptr;
}

osSharedMemory::~osSharedMemory() {
    if (fMapping)
        platform::CloseSharedMemory(fMapping, fView);
    std::free(fName);
}

ipcSharedMemory::ipcSharedMemory(char const *name, long size) : fImpl(nullptr), fSize(SizeOf(size)) {
    fImpl = new (std::nothrow) osSharedMemory(*this, name, osSharedMemory::create);
    if (!fImpl)
        fState = notCreated;
}

ipcSharedMemory::ipcSharedMemory(char const *name) : fImpl(nullptr) {
    fImpl = new (std::nothrow) osSharedMemory(*this, name, osSharedMemory::open);
    if (!fImpl)
        fState = notCreated;
}

// If `initialise` throws, the destructor of `impl` removes the block.
ipcSharedMemory::ipcSharedMemory(char const *name, long size, void (*initialise)(void *function, void *block),
                                 void *function)
    : fImpl(nullptr), fSize(SizeOf(size)) {
    std::unique_ptr<osSharedMemory> impl(new (std::nothrow) osSharedMemory(*this, name, osSharedMemory::openOrCreate));
    if (!impl)
        fState = notCreated;
    if (fState == good && impl->Owner()) {
        initialise(function, impl->Pointer());
        impl->Publish();
    }
    fImpl = impl.release();
    if (fState == good)
        fSize = static_cast<std::int32_t>(TrueSize());
}

ipcSharedMemory::~ipcSharedMemory() {
    delete fImpl;
}

char *ipcSharedMemory::Name() const noexcept {
    return fImpl ? fImpl->Name() : nullptr;
}

void *ipcSharedMemory::Pointer() const noexcept {
    return fImpl ? fImpl->Pointer() : nullptr;
}

int ipcSharedMemory::Owner() const noexcept {
    return fImpl ? fImpl->Owner() : 0;
}

int ipcSharedMemory::QueryError() const noexcept {
    return fImpl ? fImpl->Error() : static_cast<int>(platform::noMemory);
}

long ipcSharedMemory::TrueSize() const noexcept {
    if (!fImpl || fState != good)
        return 0;
    std::size_t const size = fImpl->Owner() ? static_cast<std::size_t>(fSize) : fImpl->Size();
    return static_cast<long>(std::min<std::size_t>(size, INT32_MAX));
}
