// A program with the objects that the test prints in gdb.
#include <tuzutil/EXCEPTN.h>
#include <tuzutil/FILENAME.h>
#include <tuzutil/MUTEXSEM.h>
#include <tuzutil/TRACESTR.h>
#include <tuzutil/TXTMSG.h>

#include <sstream>
#include <string>

static void Stop() {} // the breakpoint

int main() {
    TString null;
    TString nil("");
    TString narrow("two\nlines");
    TString wide(u"Entw\u00FCrfe");
    TString const first("shared");
    TString const second(first), third(first);
    TStringAndWipe secret("secret");
    TStringAndWipe wiped("secret");
    wiped.Wipe();
    TString longText = TString(std::string(300, 'x'));
    TFileName name("C:\\mail");
    TagVar number(-5), unsignedNumber(7u), real(2.5), text("inbox"), big(1LL << 40), none;
    TTextMessage message(TTextMessage::StoreID(TString("Mail"), ExplicitInit), 1, 17, "%2$s has %1$d", 5, "inbox");
    TTextMessage plain("no mail");
    TReference<TSemaphore> event(new TSemaphore);
    TReference<TSemaphore> noEvent;
    TTrace::Category const category(8, "Session");
    std::ostringstream out;
    TTraceStream trace(out, "er,Protocol");
    try {
        static_cast<void>(TString("abc").subString(0));
    } catch (TInvalidRequest &problem) {
        problem.appendText("No mail today");
        Stop();
    }
}
