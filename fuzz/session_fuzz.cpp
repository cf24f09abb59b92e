// Runs whole sessions of the example server. A client sends the input over a pair of sockets and then closes its
// socket. If the first byte is odd, the client has logged in before. The session must end. A reference machine reads
// the commands together with the replies: each command has one reply, of one line or up to a line ".", and nothing else
// is sent.

#include "Gate.h"
#include "IdleTimer.h"
#include "Options.h"
#include "Session.h"
#include "SocketStream.h"
#include "Users.h"

#include "tuzutil/EXCEPTN.h"

#include "bounds.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <thread>

#include <sys/socket.h>
#include <unistd.h>

namespace {

// A folder with one user and two messages of this user. It exists while the fuzzer runs.
class TMail {
public:
    TMail() {
        std::string name = (std::filesystem::temp_directory_path() / "session_fuzz.XXXXXX").string();
        Require(::mkdtemp(name.data()) != nullptr);
        fFolder = name;
        std::filesystem::create_directory(fFolder / "joe");
        std::ofstream(fFolder / "users") << "joe:secret:" << (fFolder / "joe").string() << '\n';
        std::string problem;
        Fill();
        Require(fUsers.Load((fFolder / "users").string(), problem));
        fOptions.failureMilliseconds = 0;
    }
    TMail(TMail const &) = delete;
    TMail &operator=(TMail const &) = delete;
    ~TMail() { std::filesystem::remove_all(fFolder); }

    // Writes the two messages again, because a session may have deleted them.
    void Fill() const {
        Write("1", "Subject: one\n\n.dots\n..\nlast");
        Write("2", "Subject: two\r\n\r\nsecond\r\n");
    }
    pop3d::Users const &Users() const noexcept { return fUsers; }
    pop3d::Options const &Options() const noexcept { return fOptions; }

private:
    void Write(char const *name, char const *text) const {
        if (!std::filesystem::exists(fFolder / "joe" / name))
            std::ofstream(fFolder / "joe" / name, std::ios::binary) << text;
    }

    std::filesystem::path fFolder;
    pop3d::Users fUsers;
    pop3d::Options fOptions;
};

std::string Replies(int socket) {
    std::string replies;
    char bytes[4096];
    for (ssize_t count; (count = ::read(socket, bytes, sizeof bytes)) > 0;)
        replies.append(bytes, static_cast<std::size_t>(count));
    return replies;
}

// The reference machine.
class TMachine {
public:
    TMachine(std::string_view sent, std::string_view replies) : fSent(sent), fReplies(replies) {}

    void Run() {
        Require(Line().starts_with("+OK "));
        bool isResponse = false; // whether the next line answers a challenge
        std::string verb;
        int refusals = 0;
        for (std::size_t end; (end = fSent.find('\n')) != std::string_view::npos;) {
            std::string_view line = fSent.substr(0, end);
            fSent.remove_prefix(end + 1);
            if (!isResponse)
                verb = Word(line);
            std::string_view const argument = isResponse ? std::string_view() : line;
            std::string_view const reply = Line();
            bool const isGood = reply.starts_with("+OK ");
            isResponse = verb == "AUTH" && reply.starts_with("+ ");
            Require(isGood || isResponse || reply.starts_with("-ERR "));
            bool const isListing =
                (verb == "LIST" || verb == "UIDL") && argument.find_first_not_of(" \r") == argument.npos;
            bool const isMessage = verb == "RETR" || verb == "TOP";
            if (isGood && (isListing || isMessage || verb == "CAPA")) {
                do {
                    // The client has ended its side, so the server may stop to send a message.
                    if (isMessage && fReplies.find("\r\n") == fReplies.npos)
                        return;
                } while (Line() != ".");
            }
            refusals += !isGood && !isResponse && (verb == "PASS" || verb == "APOP" || verb == "AUTH");
            bool const isOver = (isGood && verb == "QUIT") || (refusals >= 5 && fReplies.empty());
            if (isOver)
                break;
        }
        Require(fReplies.empty());
    }

private:
    // Takes one line of the replies. Lines of a message may have any length.
    std::string_view Line() {
        std::size_t const end = fReplies.find("\r\n");
        Require(end != std::string_view::npos);
        std::string_view const line = fReplies.substr(0, end);
        fReplies.remove_prefix(end + 2);
        return line;
    }

    // Takes the first word of a command, in upper case.
    static std::string Word(std::string_view &line) {
        if (line.ends_with('\r'))
            line.remove_suffix(1);
        line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
        std::string word(line.substr(0, line.find(' ')));
        line.remove_prefix(word.size());
        for (char &c : word)
            c = static_cast<char>(c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c);
        return word;
    }

    std::string_view fSent;
    std::string_view fReplies;
};

} // namespace

// The buffers of a session and of its thread. Longer inputs would not fit into the socket.
TBounds const fsBounds{160 << 10, 64, 4 << 10};

int TestOneInput(unsigned char const *data, std::size_t size) {
    if (size == 0 || size > 4096) // more might not fit into the socket, and the client does not read while it sends
        return 0;
    static TMail const mail;
    // As long as this timer exists, the thread of the timers lives. Otherwise it would start and end with each input,
    // and the search for leaks can take the objects of a thread that is just starting or ending for lost ones.
    static TTimer const keepsThread(nullptr);
    mail.Fill();
    int sockets[2];
    Require(::socketpair(AF_UNIX, SOCK_STREAM, 0, sockets) == 0);
    std::string wire = data[0] & 1 ? "USER joe\r\nPASS secret\r\n" : "";
    wire.append(reinterpret_cast<char const *>(data + 1), size - 1);
    Require(::write(sockets[1], wire.data(), wire.size()) == static_cast<ssize_t>(wire.size()));
    ::shutdown(sockets[1], SHUT_WR);

    std::string replies;
    std::thread client([&] { replies = Replies(sockets[1]); });
    {
        pop3d::Gate gate(mail.Options());
        pop3d::Counters counters;
        pop3d::IdleTimer idle(mail.Options().idleSeconds);
        auto const visitor = gate.Admit(0x7F000001);
        pop3d::SocketStream connection(sockets[0], {10, 0});
        pop3d::Session(connection, *visitor, mail.Users(), mail.Options(), counters, idle).Run();
    }
    ::close(sockets[0]);
    client.join();
    ::close(sockets[1]);
    TMachine(wire, replies).Run();
    Require((data[0] & 1) == 0 || replies.find("\r\n+OK") != std::string::npos);
    return 0;
}
