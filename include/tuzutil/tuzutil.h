#ifndef TUZUTIL_TUZUTIL_H
#define TUZUTIL_TUZUTIL_H

// tuzutil.h: includes the whole library.
//
// Surprises:
// - When the library is loaded, before main(), it sets the locale of the process as setlocale(LC_ALL, "") does. This
//   locale determines letter case, the encoding of narrow text and the decimal point, even in the program's own
//   printf() and strtod(). A program that wants another locale sets it at the start of main().

#include "tuzutil/BASE64.h"
#include "tuzutil/BINSTRM.h"
#include "tuzutil/COLLECT.h"
#include "tuzutil/CONCSTRM.h"
#include "tuzutil/CRAMMD5.h"
#include "tuzutil/DIRECTRY.h"
#include "tuzutil/DOTBYTE.h"
#include "tuzutil/EXCEPTN.h"
#include "tuzutil/FACTORY.h"
#include "tuzutil/FILENAME.h"
#include "tuzutil/FILTSTRM.h"
#include "tuzutil/FORMAT.h"
#include "tuzutil/LINESTRM.h"
#include "tuzutil/MD5.h"
#include "tuzutil/MEMSTRM.h"
#include "tuzutil/MSGSTORE.h"
#include "tuzutil/MSGSTRPM.h"
#include "tuzutil/MUTEXSEM.h"
#include "tuzutil/NLSRESRC.h"
#include "tuzutil/NULSTRM.h"
#include "tuzutil/OLESTRM.h"
#include "tuzutil/OSTRSTRM.h"
#include "tuzutil/PURETRAP.h"
#include "tuzutil/RELEASE.h"
#include "tuzutil/SHAREMEM.h"
#include "tuzutil/STRMCTL.h"
#include "tuzutil/TAGVAR.h"
#include "tuzutil/TDATETIM.h"
#include "tuzutil/TDLL.h"
#include "tuzutil/THREAD.h"
#include "tuzutil/TIMER.h"
#include "tuzutil/TMPSTRM.h"
#include "tuzutil/TRACE.h"
#include "tuzutil/TRACEEXC.h"
#include "tuzutil/TRACEFAC.h"
#include "tuzutil/TRACENOT.h"
#include "tuzutil/TRACEP.h"
#include "tuzutil/TRACESET.h"
#include "tuzutil/TRACESHF.h"
#include "tuzutil/TRACESTR.h"
#include "tuzutil/TREFCNT.h"
#include "tuzutil/TSTRING.h"
#include "tuzutil/TXTMSG.h"
#include "tuzutil/UNICODE.h"
#include "tuzutil/UTF7.h"
#include "tuzutil/VERSION.h"

#endif
