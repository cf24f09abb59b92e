#ifndef TUZUTIL_PURETRAP_H
#define TUZUTIL_PURETRAP_H

// TPureCall: the body of a virtual function that subclasses must override. It traces that the function was called.
//
// Example:
//     virtual int Run() { return TPureCall::Trap(*this, "TBody::Run()"); } // "pure": subclasses override it
//
// Ownership:  Trap() owns nothing.
// Threads:    Any thread may call Trap().
// Failures:   Trap() never throws.
// Surprises:
// - If level "tr" (0x100000) is traced for the component "Utility", Trap() ends the process with a fault, so that a
//   debugger shows the caller.
// - Some functions of the library must be overridden. If a class of the program does not override such a function, a
//   debug build of the library (without NDEBUG) ends the process at the first call. Before that, it writes the names of
//   the class and the function to standard error.
class TPureCall;

#include "tuzutil/EXPORT.h"

#include <typeinfo>

class TUZUTIL_API TPureCall {
public:
    static int Trap(); // writes a trace entry at level "se"; returns 0

    // Writes a trace entry at level "se", and returns 0. A debug build of the library then writes the class of the
    // object and the name of the function to standard error, and ends the process. The process goes on if the type of
    // the object is `Class` itself, because the class of the program is then unknown. This is so in a constructor or
    // destructor of `Class`. The process also goes on if the program is built without RTTI.
    template <typename Class>
    static int Trap([[maybe_unused]] Class const &object, [[maybe_unused]] char const *function) {
#if defined(__cpp_rtti)
        if (typeid(object) != typeid(Class))
            return TrapIn(typeid(object).name(), function);
#endif
        return Trap();
    }

private:
    static int TrapIn(char const *className, char const *function); // `className` is the name in std::type_info
};

#endif
