#include "support/OleStream.h"

#include <objidl.h>

#pragma GCC diagnostic ignored "-Wnon-virtual-dtor" // the interfaces of the system have no virtual destructors

namespace {

struct Object final : IStream {
    explicit Object(TOleBehaviour &what) : behaviour(what) {}

    ULONG STDMETHODCALLTYPE AddRef() override { return behaviour.AddReference(1); }
    ULONG STDMETHODCALLTYPE Release() override { return behaviour.AddReference(-1); }
    HRESULT STDMETHODCALLTYPE Read(void *bytes, ULONG count, ULONG *read) override {
        *read = behaviour.Read(bytes, count);
        return behaviour.readResult;
    }
    HRESULT STDMETHODCALLTYPE Write(void const *bytes, ULONG count, ULONG *written) override {
        *written = behaviour.Write(bytes, count);
        return behaviour.writeResult;
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void **) override { return E_NOINTERFACE; }
    HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER, DWORD, ULARGE_INTEGER *) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE CopyTo(IStream *, ULARGE_INTEGER, ULARGE_INTEGER *, ULARGE_INTEGER *) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Commit(DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Revert() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Stat(STATSTG *, DWORD) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Clone(IStream **) override { return E_NOTIMPL; }

    TOleBehaviour &behaviour;
};

} // namespace

TOleObject::TOleObject(TOleBehaviour &behaviour) : fStream(new Object(behaviour)) {}

TOleObject::~TOleObject() {
    delete static_cast<Object *>(fStream);
}
