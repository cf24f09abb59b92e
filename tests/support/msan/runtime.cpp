// Tells clang's memory sanitizer what the C++ standard library does. The library of the distribution is built without
// the sanitizer, so the sanitizer does not see what its functions write.
//
// Templates are no problem, because each source compiles its own copies of them (see own_templates.h). For the
// functions below, the linker replaces each call of a function `f` by one of `__wrap_f`, and `__real_f` is the function
// itself. They are wrapped only if they certainly write what is declared as initialized here. The linker gets their
// names from this file (see cmake/TuzutilSanitizers.cmake).

#include <sanitizer/msan_interface.h>

#include <charconv>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <ios>
#include <list>
#include <locale>
#include <map>
#include <new>
#include <stdexcept>
#include <streambuf>

namespace {

// The sanitizer also checks the arguments of functions such as memcmp() if the standard library calls them. Its buffers
// on the stack look uninitialized then.
//
// Before a call, code with the sanitizer stores which arguments are initialized. The standard library does not, so what
// the last call stored counts for the functions that it calls back.
struct TUnchecked {
    TUnchecked() {
        __msan_scoped_disable_interceptor_checks();
        __msan_unpoison_param(8);
    }
    TUnchecked(TUnchecked const &) = delete;
    TUnchecked &operator=(TUnchecked const &) = delete;
    ~TUnchecked() { __msan_scoped_enable_interceptor_checks(); }
};

} // namespace

// The standard library makes objects of these classes, and writes and reads numbers through their virtual functions. If
// a program has these functions, the linker of the system uses them for the standard library, too.
template class std::num_get<char>;
template class std::num_put<char>;
template class std::num_get<wchar_t>;
template class std::num_put<wchar_t>;

// Wraps a constructor that sets all of an object, or a function that returns an object in the memory at `self`.
#define TUZUTIL_MAKES(Class, name, parameters, arguments)                                                              \
    void *__real_##name parameters;                                                                                    \
    void *__wrap_##name parameters {                                                                                   \
        TUnchecked const unchecked;                                                                                    \
        void *const result = __real_##name arguments;                                                                  \
        __msan_unpoison(self, sizeof(Class));                                                                          \
        return result;                                                                                                 \
    }

// Wraps a function that writes only objects that are initialized, or static ones.
#define TUZUTIL_CALLS(name, parameters, arguments)                                                                     \
    void *__real_##name parameters;                                                                                    \
    void *__wrap_##name parameters {                                                                                   \
        TUnchecked const unchecked;                                                                                    \
        return __real_##name arguments;                                                                                \
    }

// Wraps a function that allocates memory. It calls hooks that programs install.
#define TUZUTIL_ALLOCATES(name, parameters, arguments)                                                                 \
    void *__real_##name parameters;                                                                                    \
    void *__wrap_##name parameters {                                                                                   \
        __msan_unpoison_param(8);                                                                                      \
        void *const block = __real_##name arguments;                                                                   \
        if (block)                                                                                                     \
            __msan_allocated_memory(block, size);                                                                      \
        return block;                                                                                                  \
    }

extern "C" {

using TError = std::runtime_error;
using TFolder = std::filesystem::directory_iterator;
using TListNode = std::__detail::_List_node_base;
using TNode = std::_Rb_tree_node_base;
using TOpenFolder = std::__shared_ptr<std::filesystem::_Dir>;
using TPath = std::filesystem::path;
using TPointer = void *;

TUZUTIL_MAKES(std::ios_base, _ZNSt8ios_baseC2Ev, (std::ios_base * self), (self))
TUZUTIL_MAKES(std::locale, _ZNSt6localeC1Ev, (std::locale * self), (self))
TUZUTIL_MAKES(std::locale, _ZNSt6localeC1ERKS_, (std::locale * self, void const *other), (self, other))
TUZUTIL_MAKES(std::locale, _ZNSt6localeC1EPKc, (std::locale * self, char const *name), (self, name))
TUZUTIL_MAKES(TError, _ZNSt13runtime_errorC1EPKc, (TError * self, char const *text), (self, text))
TUZUTIL_MAKES(TError, _ZNSt13runtime_errorC2EPKc, (TError * self, char const *text), (self, text))
TUZUTIL_MAKES(TError, _ZNSt13runtime_errorC1ERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE,
              (TError * self, void const *text), (self, text))
TUZUTIL_MAKES(TError, _ZNSt13runtime_errorC2ERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE,
              (TError * self, void const *text), (self, text))
TUZUTIL_MAKES(std::exception_ptr, _ZSt17current_exceptionv, (std::exception_ptr * self), (self))
// The file of a file stream: two members.
TUZUTIL_MAKES(TPointer[2], _ZNSt12__basic_fileIcEC1EP15pthread_mutex_t, (void *self, void *lock), (self, lock))

// Paths, and the pointers to their parts.
TUZUTIL_MAKES(TPointer, _ZNSt10filesystem7__cxx114path5_ListC1Ev, (void *self), (self))
TUZUTIL_MAKES(TPointer, _ZNSt10filesystem7__cxx114path5_ListC1ERKS2_, (void *self, void const *other), (self, other))
TUZUTIL_MAKES(TPath, _ZNKSt10filesystem7__cxx114path11parent_pathEv, (TPath * self, void const *path), (self, path))
TUZUTIL_MAKES(TPath, _ZNSt10filesystem12current_pathB5cxx11Ev, (TPath * self), (self))
TUZUTIL_MAKES(TPath, _ZNSt10filesystem19temp_directory_pathB5cxx11Ev, (TPath * self), (self))
TUZUTIL_MAKES(TPath, _ZNSt10filesystem9canonicalERKNS_7__cxx114pathE, (TPath * self, void const *path), (self, path))
TUZUTIL_MAKES(TPath, _ZNSt10filesystem12read_symlinkERKNS_7__cxx114pathERSt10error_code,
              (TPath * self, void const *path, void *error), (self, path, error))

// Readers of folders.
TUZUTIL_MAKES(TFolder,
              _ZNSt10filesystem7__cxx1118directory_iteratorC1ERKNS0_4pathENS_17directory_optionsEPSt10error_code,
              (TFolder * self, void const *path, int options, void *error), (self, path, options, error))
TUZUTIL_MAKES(TFolder,
              _ZNSt10filesystem7__cxx1118directory_iteratorC2ERKNS0_4pathENS_17directory_optionsEPSt10error_code,
              (TFolder * self, void const *path, int options, void *error), (self, path, options, error))
TUZUTIL_MAKES(TOpenFolder, _ZNSt12__shared_ptrINSt10filesystem7__cxx114_DirELN9__gnu_cxx12_Lock_policyE2EEC1Ev,
              (void *self), (self))
TUZUTIL_MAKES(TOpenFolder, _ZNSt12__shared_ptrINSt10filesystem7__cxx114_DirELN9__gnu_cxx12_Lock_policyE2EEC1EOS5_,
              (void *self, void *other), (self, other))

// Puts a node into a map or set.
TUZUTIL_MAKES(TNode, _ZSt29_Rb_tree_insert_and_rebalancebPSt18_Rb_tree_node_baseS0_RS_,
              (bool isLeft, TNode *self, TNode *parent, TNode *header), (isLeft, self, parent, header))
// Puts a node into a list.
TUZUTIL_MAKES(TListNode, _ZNSt8__detail15_List_node_base7_M_hookEPS0_, (TListNode * self, TListNode *next),
              (self, next))

// Copies from one stream buffer to the other, and tells whether the first one has ended. The function of the standard
// library would pass each byte as an argument, so this one replaces it.
std::streamsize __wrap__ZSt21__copy_streambufs_eofIcSt11char_traitsIcEElPSt15basic_streambufIT_T0_ES6_Rb(
    std::streambuf *from, std::streambuf *to, bool &hasEnded) {
    using TTraits = std::char_traits<char>;
    std::streamsize count = 0;
    hasEnded = false;
    for (int c = from->sgetc(); !TTraits::eq_int_type(c, TTraits::eof()); c = from->snextc()) {
        if (TTraits::eq_int_type(to->sputc(TTraits::to_char_type(c)), TTraits::eof()))
            return count;
        ++count;
    }
    hasEnded = true;
    return count;
}

// Numbers: writes the format for one of the C library, reads one, writes one.
TUZUTIL_MAKES(char[16], _ZNSt10__num_base15_S_format_floatERKSt8ios_basePcc,
              (std::ios_base const *stream, char *self, char kind), (stream, self, kind))
TUZUTIL_MAKES(double, _ZSt14__convert_to_vIdEvPKcRT_RSt12_Ios_IostateRKP15__locale_struct,
              (char const *text, double *self, void *state, void const *locale), (text, self, state, locale))
std::to_chars_result __real__ZSt8to_charsPcS_d(char *first, char *last, double number);
std::to_chars_result __wrap__ZSt8to_charsPcS_d(char *first, char *last, double number) {
    TUnchecked const unchecked;
    std::to_chars_result const result = __real__ZSt8to_charsPcS_d(first, last, number);
    __msan_unpoison(first, static_cast<std::size_t>(result.ptr - first));
    return result;
}

// operator>>() and getline() of strings.
TUZUTIL_CALLS(_ZStrsIcSt11char_traitsIcESaIcEERSt13basic_istreamIT_T0_ES7_RNSt7__cxx1112basic_stringIS4_S5_T1_EE,
              (void *in, void *text), (in, text))
TUZUTIL_CALLS(
    _ZSt7getlineIcSt11char_traitsIcESaIcEERSt13basic_istreamIT_T0_ES7_RNSt7__cxx1112basic_stringIS4_S5_T1_EES4_,
    (void *in, void *text, char end), (in, text, end))

TUZUTIL_CALLS(_ZNKSt5ctypeIcE13_M_widen_initEv, (std::ctype<char> const *self), (self))
TUZUTIL_CALLS(_ZNKSt5ctypeIcE14_M_narrow_initEv, (std::ctype<char> const *self), (self))

// What the standard library allocates, it initializes. So memory counts as initialized, unless it is allocated by a
// call that the linker has replaced, which is one of the program's or the library's own.
char const *__msan_default_options() {
    return "poison_in_malloc=0:poison_in_free=0";
}

TUZUTIL_ALLOCATES(_Znwm, (std::size_t size), (size))
TUZUTIL_ALLOCATES(_ZnwmRKSt9nothrow_t, (std::size_t size, std::nothrow_t const &tag), (size, tag))
TUZUTIL_ALLOCATES(_Znam, (std::size_t size), (size))
TUZUTIL_ALLOCATES(_ZnamRKSt9nothrow_t, (std::size_t size, std::nothrow_t const &tag), (size, tag))
TUZUTIL_ALLOCATES(malloc, (std::size_t size), (size))

} // extern "C"
