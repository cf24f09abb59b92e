// Runs whole sessions of the example server. A client sends the input over a pair of sockets and then closes its
// socket. If the first byte is odd, the client has logged in before. The session must end. Its replies must begin with
// "+OK" and end with CR LF, and the login must succeed.

#include "Gate.h"
#include "IdleTimer.h"
#include "Options.h"
#include "Session.h"
#include "SocketStream.h"
#include "Users.h"

#include "tuzutil/EXCEPTN.h"

#include "bounds.h"

#include <filesystem>
#include <fstream>
#include <string>
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

} // namespace

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
    Require(replies.rfind("+OK ", 0) == 0);
    Require(replies.size() < 2 || replies.compare(replies.size() - 2, 2, "\r\n") == 0);
    Require((data[0] & 1) == 0 || replies.find("\r\n+OK") != std::string::npos);
    return 0;
}
