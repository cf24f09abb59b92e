#ifndef TUZUTIL_IMMORTAL
#define TUZUTIL_IMMORTAL

// TImmortal: holds an object that is built at start-up and never destroyed. Static objects of other libraries may use
// the object in their destructors, which can run after the static objects of this library were destroyed.

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
