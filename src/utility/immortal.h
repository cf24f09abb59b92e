#ifndef TUZUTIL_IMMORTAL
#define TUZUTIL_IMMORTAL

// An object that is built at start-up and never destroyed: static objects of other libraries may still need it when
// the process takes this one down.

#include <new>

template <typename T>
class TImmortal {
public:
    TImmortal() { ::new (static_cast<void *>(fStorage)) T(); }
    TImmortal(TImmortal const &) = delete;
    TImmortal &operator=(TImmortal const &) = delete;

    T &Get() noexcept { return *std::launder(reinterpret_cast<T *>(fStorage)); }

private:
    alignas(T) unsigned char fStorage[sizeof(T)];
};

#endif
