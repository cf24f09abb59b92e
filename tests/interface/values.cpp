// Messages and trace points as a program of today writes them: its own types, sizes, views, times, checked formats.
#include <tuzutil/TRACEP.h>
#include <tuzutil/TRACESTR.h>
#include <tuzutil/TXTMSG.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <iostream>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace mail {

enum class State : std::uint8_t { waiting, ready };

struct Address {
    std::string user, host;
};
TagVar ToTagVar(Address const &address) {
    return TagVar(address.user + "@" + address.host);
}

TTrace::Category const category(8, "Session");

} // namespace mail

static int failures = 0;

static void Expect(std::string const &seen, std::string const &expected, int line) {
    if (seen != expected)
        std::cout << "line " << line << ": " << seen << '\n', ++failures;
}
#define EXPECT(seen, expected) Expect(seen, expected, __LINE__)

template <typename... Arguments>
static std::string Print(char const *format, Arguments const &...arguments) {
    return std::string(TTextMessage(format, arguments...).QueryMessage());
}

int main() {
    using namespace std::chrono_literals;
    std::vector<int> const queue(3);
    std::string const user = "joe";
    std::string_view const folder = "inbox";
    EXPECT(Print("%s has %zu in %s", user, queue.size(), folder), "joe has 3 in inbox");
    EXPECT(Print("%lld %d %llx", std::int64_t{1} << 40, UINT64_MAX, -1LL), "1099511627776 -1 ffffffffffffffff");
    EXPECT(Print("%s %d", mail::Address{"joe", "example.org"}, mail::State::ready), "joe@example.org 1");
    EXPECT(Print("%s after %s", std::filesystem::path("spool"), 1500ms), "spool after 1500ms");
    EXPECT(Print("%s", std::chrono::system_clock::time_point(1000000000s)).substr(0, 19), "2001-09-09T01:46:40");
    EXPECT(Print("%s", std::make_error_code(std::errc::permission_denied)).substr(0, 10), "Permission");
    EXPECT(Print("%s|%d", 1LL << 40, 5), "?|5"); // the message is not lost
    EXPECT(std::string(TTextMessage::Make("%2$s: %1$u", queue.size(), u8"new").QueryMessage()), "new: 3");

    std::ostringstream out;
    {
        TTraceStream trace(out, "al,Protocol");
        trace.SetDisplayPrefix(0);
        TTracePoint::Write(TTrace::error, mail::category, "user %s logged in", user.c_str());
        TTracePoint::Write(TTrace::error, mail::category, "src/old.cpp", "user %s", user);
        TTracePoint::Write(TTrace::error, mail::category, {"src/old.cpp", 7}, "%p", &user);
#if defined(__cpp_lib_format)
        TTracePoint::Format(TTrace::error, mail::category, "user {} has {:02}", user, queue.size());
#endif
    }
    EXPECT(out.str().substr(0, out.str().find('\n')), "E [values.cpp:62] user joe logged in");
    if (failures == 0)
        std::cout << "ok\n";
    return failures;
}
