#include "tuzutil/EXCEPTN.h"

#include "support/Expect.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

namespace {

TException Sample(char const *text = "A") {
    return TException(text, 17, TException::recoverable);
}

std::vector<std::string> TextsOldestFirst(TException const &problem) {
    std::vector<std::string> texts;
    for (unsigned long i = problem.textCount(); i-- > 0;)
        texts.emplace_back(problem.text(i) ? problem.text(i) : "(null)");
    return texts;
}

// One row of the family: makes the class, names it, and tells which handlers catch it.
struct TFamilyRow {
    char const *name;
    std::unique_ptr<TException> (*make)();
    void (*expectCaught)(TException &);
};

template <typename E>
std::unique_ptr<TException> Make() {
    return std::make_unique<E>("text", 3, TException::unrecoverable);
}

template <typename E, typename Parent>
void ExpectCaughtBy(TException &problem) {
    EXPECT_THROW(problem.Throw(), E);
    EXPECT_THROW(problem.Throw(), Parent);
    EXPECT_THROW(problem.Throw(), TException);
    EXPECT_THROW(problem.Throw(), std::exception);
    try {
        problem.Throw();
    } catch (E &caught) {
        EXPECT_EQ(typeid(caught), typeid(E));
        EXPECT_NE(&caught, &problem);
        EXPECT_STREQ(caught.text(0), "text");
        EXPECT_EQ(caught.errorId(), 3u);
        EXPECT_FALSE(caught.isRecoverable());
    }
}

template <typename E, typename Parent>
TFamilyRow Row(char const *name) {
    return {name, &Make<E>, &ExpectCaughtBy<E, Parent>};
}

} // namespace

TEST(TException, Example) {
    std::ostringstream err;
    TString const text("abc");
    auto const call = [&] {
        try {
            text.subString(0);
        } catch (TException &problem) {
            err << problem << '\n';
            problem.addLocation(TExceptionLocation(__FILE__, __func__, __LINE__));
            problem.Throw();
        }
    };
    EXPECT_THROW(call(), TInvalidRequest);
    std::string const frame = "Bad value to truncate this String (TInvalidRequest, ID 1, src/utility/TSTRING:";
    EXPECT_EQ(err.str().substr(0, frame.size()), frame);
    EXPECT_EQ(err.str().substr(err.str().size() - 2), ")\n");
}

TEST(TException, IsThrownAsItsOwnClassWhoeverHoldsIt) {
    TFamilyRow const rows[] = {Row<TException, TException>("TException"),
                               Row<TAccessError, TException>("TAccessError"),
                               Row<TAssertionFailure, TException>("TAssertionFailure"),
                               Row<TDeviceError, TException>("TDeviceError"),
                               Row<TInvalidParameter, TException>("TInvalidParameter"),
                               Row<TInvalidRequest, TException>("TInvalidRequest"),
                               Row<TResourceExhausted, TException>("TResourceExhausted"),
                               Row<TOutOfMemory, TResourceExhausted>("TOutOfMemory"),
                               Row<TOutOfSystemResource, TResourceExhausted>("TOutOfSystemResource"),
                               Row<TOutOfWindowResource, TResourceExhausted>("TOutOfWindowResource")};
    for (TFamilyRow const &row : rows) {
        SCOPED_TRACE(row.name);
        auto const problem = row.make();
        EXPECT_STREQ(problem->name(), row.name);
        row.expectCaught(*problem);
    }
}

TEST(TException, SiblingsDoNotCatchEachOther) {
    TDeviceError problem("text", 1, TException::recoverable);
    try {
        problem.Throw();
    } catch (TAccessError &) {
        ADD_FAILURE() << "caught by a sibling";
    } catch (TResourceExhausted &) {
        ADD_FAILURE() << "caught by a sibling";
    } catch (TException &caught) {
        EXPECT_STREQ(caught.name(), "TDeviceError");
    }
}

TEST(TException, AddsNoFieldsInSubclasses) {
    EXPECT_EQ(sizeof(TAccessError), sizeof(TException));
    EXPECT_EQ(sizeof(TOutOfMemory), sizeof(TException));
}

TEST(TException, StartsWithOneTextAndNoLocation) {
    TException const problem = Sample();
    EXPECT_EQ(problem.textCount(), 1u);
    EXPECT_STREQ(problem.text(0), "A");
    EXPECT_EQ(problem.text(1), nullptr);
    EXPECT_EQ(problem.locationCount(), 0u);
    EXPECT_EQ(problem.locationAtIndex(0), nullptr);
    EXPECT_EQ(problem.errorId(), 17u);
    EXPECT_EQ(problem.errorCodeGroup(), nullptr);
    EXPECT_TRUE(problem.isRecoverable());
}

TEST(TException, ANullTextIsKeptAsNull) {
    TException const problem = Sample(nullptr);
    EXPECT_EQ(problem.textCount(), 1u);
    EXPECT_EQ(problem.text(0), nullptr);
}

TEST(TException, SettersChainAndAreReadBack) {
    static char const group[] = "group";
    TException problem = Sample();
    TException &result = problem.setSeverity(TException::unrecoverable)
                             .setErrorId(0xFFFFFFFFul)
                             .setErrorCodeGroup(group)
                             .setText("B")
                             .appendText("C")
                             .addLocation(TExceptionLocation("file", "function", 12))
                             .logExceptionData();
    EXPECT_EQ(&result, &problem);
    EXPECT_FALSE(problem.isRecoverable());
    EXPECT_EQ(problem.errorId(), 0xFFFFFFFFul);
    EXPECT_EQ(problem.errorCodeGroup(), group);
    EXPECT_EQ(TextsOldestFirst(problem), (std::vector<std::string>{"B", "C"}));
    EXPECT_STREQ(problem.locationAtIndex(0)->fileName(), "file");
    EXPECT_STREQ(problem.locationAtIndex(0)->functionName(), "function");
    EXPECT_EQ(problem.locationAtIndex(0)->lineNumber(), 12u);
}

TEST(TException, OnlyTheValueRecoverableIsRecoverable) {
    TException problem = Sample();
    EXPECT_EQ(TException::unrecoverable, 0);
    EXPECT_EQ(TException::recoverable, 1);
    EXPECT_TRUE(problem.setSeverity(TException::recoverable).isRecoverable());
    EXPECT_FALSE(problem.setSeverity(TException::unrecoverable).isRecoverable());
}

TEST(TException, TextsAreReadNewestFirst) {
    TException problem = Sample();
    problem.appendText("B").appendText("C").appendText("D").appendText("E");
    EXPECT_EQ(problem.textCount(), 5u);
    EXPECT_STREQ(problem.text(0), "E");
    EXPECT_STREQ(problem.text(4), "A");
    EXPECT_EQ(problem.text(5), nullptr);
}

TEST(TException, ASixthTextMovesTheFirstThreeOnly) {
    TException problem = Sample();
    problem.appendText("B").appendText("C").appendText("D").appendText("E").appendText("F");
    EXPECT_EQ(TextsOldestFirst(problem), (std::vector<std::string>{"B", "C", "D", "D", "F"}));
    problem.appendText("G");
    EXPECT_EQ(TextsOldestFirst(problem), (std::vector<std::string>{"C", "D", "D", "D", "G"}));
}

TEST(TException, SetTextLeavesOneText) {
    TException problem = Sample();
    problem.appendText("B").appendText("C").setText("X");
    EXPECT_EQ(TextsOldestFirst(problem), (std::vector<std::string>{"X"}));
    problem.appendText("Y");
    EXPECT_EQ(TextsOldestFirst(problem), (std::vector<std::string>{"X", "Y"}));
}

TEST(TException, ASixthLocationMovesTheFirstThreeOnly) {
    TException problem = Sample();
    for (unsigned long line = 1; line <= 6; ++line)
        problem.addLocation(TExceptionLocation("file", "", line));
    ASSERT_EQ(problem.locationCount(), 5u);
    std::vector<unsigned long> lines;
    for (unsigned long i = 0; i < 5; ++i)
        lines.push_back(problem.locationAtIndex(i)->lineNumber());
    EXPECT_EQ(lines, (std::vector<unsigned long>{2, 3, 4, 4, 6}));
    EXPECT_EQ(problem.locationAtIndex(5), nullptr);
}

TEST(TException, ALocationOfItsOwnCanBeAddedAgain) {
    TException problem = Sample();
    for (unsigned long line = 1; line <= 5; ++line)
        problem.addLocation(TExceptionLocation("file", "", line));
    problem.addLocation(*problem.locationAtIndex(1));
    EXPECT_EQ(problem.locationAtIndex(4)->lineNumber(), 2u);
    problem.appendText(problem.text(0));
    EXPECT_STREQ(problem.text(0), "A");
}

TEST(TException, CopiesCarryTextsLocationsAndGroup) {
    TException original = Sample();
    original.setErrorCodeGroup("group").appendText("B").addLocation(TExceptionLocation("file", "", 1));
    original.setSeverity(TException::unrecoverable);
    TException const copy(original);
    original.setText("changed");
    EXPECT_FALSE(copy.isRecoverable());
    EXPECT_EQ(TextsOldestFirst(TException(original)), (std::vector<std::string>{"changed"}));
    EXPECT_EQ(TextsOldestFirst(copy), (std::vector<std::string>{"A", "B"}));
    EXPECT_STREQ(copy.errorCodeGroup(), "group");
    EXPECT_EQ(copy.locationCount(), 1u);
    EXPECT_EQ(copy.errorId(), 17u);
}

TEST(TException, CopiesShareTheBuffersOfTheirTexts) {
    TException const original = Sample();
    TException const copy(original);
    EXPECT_EQ(copy.text(0), original.text(0));
}

TEST(TException, LocationsByDefaultAreEmpty) {
    TExceptionLocation location;
    EXPECT_EQ(location.fileName(), nullptr);
    EXPECT_EQ(location.functionName(), nullptr);
    EXPECT_EQ(location.lineNumber(), 0u);
    location = TExceptionLocation("file", "function", 4294967295ul);
    EXPECT_STREQ(location.fileName(), "file");
    EXPECT_EQ(location.lineNumber(), 4294967295ul);
}

TEST(TException, HooksDoNothing) {
    TException problem = Sample();
    EXPECT_EQ(&problem.logExceptionData(), &problem);
    problem.terminate();
    TException::assertParameter("text", TExceptionLocation());
    EXPECT_STREQ(problem.text(0), "A");
}

TEST(TException, TracingLeavesItAsItIs) {
    TException problem = Sample();
    TTrace::Base::fsRuntimeLevel = 0x400;
    TTrace::Base::fsRuntimeComponent = 1;
    EXPECT_EQ(&problem.Trace(TUtilityTraceCategory::String), &problem);
    EXPECT_EQ(&problem.TraceRethrow(TUtilityTraceCategory::String), &problem);
    TTrace::Base::fsRuntimeLevel = 0;
    TTrace::Base::fsRuntimeComponent = 0;
    EXPECT_STREQ(problem.text(0), "A");
    EXPECT_EQ(problem.textCount(), 1u);
}

TEST(TException, CrossesTheLibraryBoundaryToEveryHandler) {
    TString const text("abc");
    EXPECT_THROW(text.subString(0), TInvalidRequest);
    EXPECT_THROW(text.subString(0), TException);
    std::exception_ptr kept;
    try {
        text.subString(0);
    } catch (...) {
        kept = std::current_exception();
    }
    EXPECT_THROW(std::rethrow_exception(kept), TInvalidRequest);
}

// The standard's side of an exception

TEST(TExceptionWhat, TellsTextClassIdAndFirstLocation) {
    TAccessError problem("No such mailbox", 17, TException::recoverable);
    EXPECT_STREQ(problem.what(), "No such mailbox (TAccessError, ID 17)");
    problem.addLocation(TExceptionLocation("src/mailbox.cpp", "Open", 12));
    problem.addLocation(TExceptionLocation("src/session.cpp", "Login", 99));
    EXPECT_STREQ(problem.what(), "No such mailbox (TAccessError, ID 17, src/mailbox.cpp:12)");
}

TEST(TExceptionWhat, ListsTheTextsFromTheNewestToTheOldest) {
    TException problem = Sample();
    problem.appendText("B").appendText(nullptr).appendText("D");
    EXPECT_STREQ(problem.what(), "D: B: A (TException, ID 17)");
    EXPECT_STREQ(Sample(nullptr).what(), "(TException, ID 17)");
    EXPECT_STREQ(Sample("").what(), " (TException, ID 17)");
}

TEST(TExceptionWhat, FollowsEveryChange) {
    TException problem = Sample();
    std::string seen = problem.what();
    problem.setText("B");
    seen += std::string("|") + problem.what();
    problem.setErrorId(4294967295ul);
    seen += std::string("|") + problem.what();
    problem.addLocation(TExceptionLocation());
    seen += std::string("|") + problem.what();
    problem = Sample("C");
    seen += std::string("|") + problem.what();
    problem.setText(problem.what());
    EXPECT_EQ(seen, "A (TException, ID 17)|B (TException, ID 17)|B (TException, ID 4294967295)|"
                    "B (TException, ID 4294967295, :0)|C (TException, ID 17)");
    EXPECT_STREQ(problem.what(), "C (TException, ID 17) (TException, ID 17)");
    char const *const same = problem.what();
    EXPECT_EQ(problem.what(), same);
}

TEST(TExceptionWhat, OfACopyIsItsOwn) {
    auto original = std::make_unique<TException>(Sample());
    char const *const first = original->what();
    TException const copy(*original);
    EXPECT_NE(copy.what(), first);
    original.reset();
    EXPECT_STREQ(copy.what(), "A (TException, ID 17)");
}

TEST(TExceptionWhat, MayBeAskedForBySeveralThreads) {
    for (int i = 0; i < 200; ++i) {
        TException const problem = Sample();
        std::array<char const *, 4> seen{};
        std::vector<std::thread> threads;
        for (char const *&each : seen)
            threads.emplace_back([&] { each = problem.what(); });
        for (std::thread &thread : threads)
            thread.join();
        for (char const *const each : seen)
            ASSERT_EQ(each, problem.what());
    }
}

TEST(TExceptionWhat, ReachesAHandlerOfTheStandard) {
    try {
        TString("abc").subString(0);
        ADD_FAILURE() << "nothing was thrown";
    } catch (std::exception const &problem) {
        EXPECT_EQ(std::string(problem.what()).find("Bad value to truncate this String (TInvalidRequest, ID 1, src/"),
                  0u);
        EXPECT_NE(dynamic_cast<TInvalidRequest const *>(&problem), nullptr);
    }
}

TEST(TExceptionCode, IsTheSystemsErrorIfTheSystemFailed) {
    TException problem = Sample();
    EXPECT_FALSE(problem.code());
    EXPECT_EQ(problem.systemText(), nullptr);
    EXPECT_EQ(&problem.setSystemError(2), &problem); // the file does not exist, on both systems
    EXPECT_EQ(problem.code(), std::errc::no_such_file_or_directory);
    EXPECT_EQ(problem.code(), std::error_code(2, std::system_category()));
    EXPECT_EQ(problem.systemText(), nullptr);
    std::string const frame = "A (TException, ID 17; system error 2: ";
    EXPECT_EQ(std::string(problem.what()).substr(0, frame.size()), frame);
    EXPECT_GT(std::strlen(problem.what()), frame.size() + 1);
    problem.setSystemError(8, "mail.dll: wrong ELF class");
    EXPECT_STREQ(problem.what(), "A (TException, ID 17; system error 8: mail.dll: wrong ELF class)");
    TException const copy(problem);
    EXPECT_EQ(copy.code().value(), 8);
    EXPECT_STREQ(copy.systemText(), "mail.dll: wrong ELF class");
    EXPECT_FALSE(problem.setSystemError(0).code());
    EXPECT_STREQ(problem.what(), "A (TException, ID 17)");
    EXPECT_FALSE(problem.setSystemError(0, "no symbol of this name").code()); // a loader that gives only words
    EXPECT_STREQ(problem.what(), "A (TException, ID 17; system error 0: no symbol of this name)");
}

// A program's own operator, as programs have them from the time before the library had one.
class TOwnError : public TException {
public:
    using TException::TException;
};
static std::ostream &operator<<(std::ostream &out, TOwnError const &) {
    return out << "own";
}

TEST(TExceptionOutput, WritesWhat) {
    std::ostringstream out;
    out << Sample() << '|' << TOutOfMemory("B", 1, TException::recoverable) << '|'
        << TOwnError("C", 1, TException::recoverable);
    EXPECT_EQ(out.str(), "A (TException, ID 17)|B (TOutOfMemory, ID 1)|own");
}

// The number of a virtual function in the table, as pointers to members hold it. On some processors, the lowest bit of
// such a pointer says that the function is virtual. The destructor has the slots 0 and 1.
template <typename Member>
std::uintptr_t Slot(Member member) {
    std::uintptr_t offset;
    std::memcpy(&offset, &member, sizeof offset);
    return offset / sizeof(void *);
}

TEST(TExceptionLayout, KeepsTheOrderOfTheVirtualFunctions) {
    EXPECT_EQ(Slot(&TException::Throw), 2u);
    EXPECT_EQ(Slot(&TException::isRecoverable), 3u);
    EXPECT_EQ(Slot(&TException::addLocation), 4u);
    EXPECT_EQ(Slot(&TException::name), 5u);
    EXPECT_EQ(Slot(&TException::logExceptionData), 6u);
    EXPECT_EQ(Slot(&TException::terminate), 7u);
}

TEST(TCrtMsg, IsOneNumber) {
    TCrtMsg message;
    message = TCrtMsg("text");
    message.Write("text");
    message = TCrtMsg(0);
    EXPECT_EQ(sizeof message, 4u);
}
