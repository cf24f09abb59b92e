#ifndef TUZUTIL_TESTS_STARTUP_OBJECTS_H
#define TUZUTIL_TESTS_STARTUP_OBJECTS_H

// A static object that uses strings, messages, categories and trace points when it is built and when it is destroyed.

#include "tuzutil/EXCEPTN.h"
#include "tuzutil/TRACEP.h"
#include "tuzutil/TXTMSG.h"

class TStaticUser {
public:
    explicit TStaticUser(char const *name) : fName(name), fCategory(8, name) { Work("built"); }
    ~TStaticUser() { Work("destroyed"); }

private:
    void Work(char const *what) {
        TString const text = fName + " " + what;
        TTracePoint::Write(TTrace::error, fCategory, "startup", "%s: %d", text, text.length());
        try {
            text.subString(0);
        } catch (TInvalidRequest &problem) {
            TTracePoint::Write(TTrace::warning, TUtilityTraceCategory::String, "startup", "caught: %s",
                               problem.text(0));
        }
        if (TTrace::FindCategory(fName) != &fCategory)
            TTracePoint::Write(TTrace::error, fCategory, "startup", "category not found");
    }

    TString fName;
    TTrace::Category fCategory;
};

#endif
