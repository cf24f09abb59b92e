#ifndef TUZUTIL_IMMORTAL
#define TUZUTIL_IMMORTAL

// TImmortal: holds an object that is built at start-up and never destroyed. Static objects of other libraries may use
// the object in their destructors, which can run after the static objects of this library were destroyed. The object
// has the same address as the TImmortal. Therefore a reference to the TImmortal can be cast to a reference to the
// object.

#include <new>

template <typename T>
class TImmortal {
public:
    TImmortal() { ::new (static_cast<void *>(fStorage)) T(); }
    TImmortal(TImmortal const &) = delete;
    TImmortal &operator=(TImmortal const &) = delete;

private:
    alignas(T) unsigned char fStorage[sizeof(T)];
};

#endif
