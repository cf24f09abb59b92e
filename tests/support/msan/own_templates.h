// The memory sanitizer sees only code that it has compiled. This header makes each source compile the templates of
// strings, containers and streams that it uses. Otherwise, the program would use the copies in the C++ standard library
// of the distribution. The compiler includes this header before each source.
#if defined(__cplusplus)
#include <bits/c++config.h>
#undef _GLIBCXX_EXTERN_TEMPLATE
#define _GLIBCXX_EXTERN_TEMPLATE 0
#endif
