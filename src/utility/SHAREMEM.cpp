// ipcSharedMemory: a block of memory that processes share by its name. The object owns its mapping of the block. The
// platform removes a block that no process uses any more. Nothing is traced; callers query the state.

#include "tuzutil/SHAREMEM.h"

#include "platform/platform.h"

#include <cstdlib>
#include <cstring>
#include <new>

namespace {

enum State : std::int32_t { good, notCreated, noName, notOpened };

} // namespace

// The part of an ipcSharedMemory that holds the platform's block.
class osSharedMemory {
public:
    osSharedMemory(ipcSharedMemory &owner, char const *name, bool creates) noexcept;
    osSharedMemory(osSharedMemory const &) = delete;
    osSharedMemory &operator=(osSharedMemory const &) = delete;
    virtual ~osSharedMemory();

    char *Name() const noexcept { return fName; }
    void *Pointer() const noexcept { return fView; }
    int Owner() const noexcept { return fIsOwner; }

private:
    ipcSharedMemory &fOwner;
    platform::Block *fMapping = nullptr;
    char *fName = nullptr;
    std::int32_t fIsOwner;
    void *fView = nullptr;
};

osSharedMemory::osSharedMemory(ipcSharedMemory &owner, char const *name, bool creates) noexcept
    : fOwner(owner), fIsOwner(creates) {
    if (!name || !*name) {
        owner.fState = noName;
        return;
    }
    std::size_t const size = std::strlen(name) + 1;
    fName = static_cast<char *>(std::malloc(size));
    if (!fName) {
        owner.fState = notCreated;
        return;
    }
    std::memcpy(fName, name, size);
    fMapping =
        creates ? platform::CreateSharedMemory(name, owner.fSize, fView) : platform::OpenSharedMemory(name, fView);
    if (!fMapping)
        owner.fState = creates ? notCreated : notOpened;
}

osSharedMemory::~osSharedMemory() {
    if (fOwner.fState == good)
        platform::CloseSharedMemory(fMapping, fView);
    std::free(fName);
}

ipcSharedMemory::ipcSharedMemory(char const *name, long size) : fImpl(nullptr) {
    // A size that does not fit in 32 bits becomes 0.
    fSize = size >= INT32_MIN && size <= INT32_MAX ? static_cast<std::int32_t>(size) : 0;
    fImpl = new (std::nothrow) osSharedMemory(*this, name, true);
    if (!fImpl)
        fState = notCreated;
}

ipcSharedMemory::ipcSharedMemory(char const *name) : fImpl(nullptr) {
    fImpl = new (std::nothrow) osSharedMemory(*this, name, false);
    if (!fImpl)
        fState = notCreated;
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
