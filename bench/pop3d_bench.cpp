// Whole sessions of the example server, beside Dovecot's server for the same maildirs (left out if it is not installed
// or cannot be started; it wants to be started by root) and beside a program that only copies bytes into a socket.
//
// All messages have their size in their names (",W="), as Dovecot itself would store them.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <arpa/inet.h>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr int fsMany = 1000;
constexpr std::size_t fsSmall = 4096;
constexpr std::size_t fsBig = 64 << 20;

// Lines of 72 bytes, of which every 20th begins with a dot.
std::string Text(std::size_t bytes) {
    std::string text = "From: a@example.org\r\nTo: b@example.org\r\nSubject: message\r\n\r\n";
    for (int line = 1; text.size() < bytes; ++line) {
        text += line % 20 == 0 ? "." : "x";
        text.append(69, 'y');
        text += "\r\n";
    }
    return text;
}

void Write(fs::path const &path, std::string const &text) {
    std::ofstream(path, std::ios_base::binary) << text;
}

int ConnectTo(int port) {
    int const fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in at{};
    at.sin_family = AF_INET;
    at.sin_port = htons(static_cast<std::uint16_t>(port));
    at.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int const on = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    if (connect(fd, reinterpret_cast<sockaddr *>(&at), sizeof at) == 0)
        return fd;
    close(fd);
    return -1;
}

int FreePort() {
    int const fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in at{};
    at.sin_family = AF_INET;
    at.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof at;
    int const port = bind(fd, reinterpret_cast<sockaddr *>(&at), size) == 0 &&
                             getsockname(fd, reinterpret_cast<sockaddr *>(&at), &size) == 0
                         ? ntohs(at.sin_port)
                         : 0;
    close(fd);
    return port;
}

// A maildir for each user, in a temporary folder, and both servers.
class Servers {
public:
    Servers() {
        char name[] = "/tmp/pop3d_bench.XXXXXX";
        if (!mkdtemp(name))
            throw std::runtime_error("no temporary folder");
        fFolder = name;
        fs::permissions(fFolder, fs::perms::all);
        AddUser("many", fsMany, fsSmall);
        AddUser("big", 1, fsBig);
        for (int i = 0; i < 25; ++i)
            AddUser("ten" + std::to_string(i), 10, fsSmall);
        StartOwn();
        StartPeer();
    }
    Servers(Servers const &) = delete;
    Servers &operator=(Servers const &) = delete;
    ~Servers() {
        for (pid_t const child : fChildren) {
            kill(child, SIGTERM);
            waitpid(child, nullptr, 0);
        }
        std::error_code ignored;
        fs::remove_all(fFolder, ignored);
    }

    int ownPort = 0;
    int peerPort = 0; // 0 if the peer is not there

private:
    void AddUser(std::string const &user, int messages, std::size_t bytes) {
        fs::path const mailbox = fFolder / user;
        for (char const *const folder : {"cur", "new", "tmp"})
            fs::create_directories(mailbox / folder);
        std::string const stored = Text(bytes);
        std::string const size = std::to_string(stored.size());
        for (int i = 0; i < messages; ++i)
            Write(mailbox / "cur" / (std::to_string(1700000000 + i) + ".M1P1.host,S=" + size + ",W=" + size + ":2,S"),
                  stored);
        fUsers += user + ":secret:" + mailbox.string() + "\n";
        for (fs::recursive_directory_iterator entry(mailbox), end; entry != end; ++entry)
            Own(entry->path());
        Own(mailbox);
    }

    void Own(fs::path const &path) {
        if (geteuid() == 0 && chown(path.c_str(), 65534, 65534) != 0) // the peer does not serve the mail of root
            throw std::runtime_error("cannot give a file away");
    }

    void Start(std::vector<std::string> const &words) {
        pid_t const child = fork();
        if (child == 0) {
            std::vector<char *> arguments;
            for (std::string const &word : words)
                arguments.push_back(const_cast<char *>(word.c_str()));
            arguments.push_back(nullptr);
            int const nothing = open("/dev/null", O_RDWR);
            dup2(nothing, 1);
            dup2(nothing, 2);
            execvp(arguments[0], arguments.data());
            _exit(127);
        }
        fChildren.push_back(child);
    }

    bool Await(int port) {
        for (int i = 0; i < 100; ++i, std::this_thread::sleep_for(std::chrono::milliseconds(50))) {
            if (waitpid(fChildren.back(), nullptr, WNOHANG) > 0) {
                fChildren.pop_back();
                return false;
            }
            if (int const fd = ConnectTo(port); fd >= 0) {
                close(fd);
                return true;
            }
        }
        return false;
    }

    void StartOwn() {
        Write(fFolder / "users", fUsers);
        int const port = FreePort();
        Start({POP3D, "--users", (fFolder / "users").string(), "--port", std::to_string(port), "--sessions", "200",
               "--unauthenticated", "200", "--per-address", "200", "--login-seconds", "3600", "--idle-seconds",
               "3600"});
        if (!Await(port))
            throw std::runtime_error("pop3d does not start");
        ownPort = port;
    }

    void StartPeer() {
        int const port = FreePort();
        std::string const folder = fFolder.string();
        Write(fFolder / "peer.conf",
              "base_dir = " + folder + "/run\nstate_dir = " + folder + "/state\nlog_path = " + folder +
                  "/log\nlisten = 127.0.0.1\nprotocols = pop3\nssl = no\ndisable_plaintext_auth = no\n"
                  "mail_location = maildir:" +
                  folder +
                  "/%u\npop3_no_flag_updates = yes\n"
                  "first_valid_uid = 1\nfirst_valid_gid = 1\nmail_max_userip_connections = 200\n"
                  "passdb {\n driver = static\n args = password=secret\n}\n"
                  "userdb {\n driver = static\n args = uid=65534 gid=65534 home=" +
                  folder +
                  "/%u\n}\n"
                  "service pop3-login {\n inet_listener pop3 {\n port = " +
                  std::to_string(port) +
                  "\n }\n inet_listener pop3s {\n port = 0\n }\n service_count = 0\n}\n"
                  "service pop3 {\n service_count = 0\n process_min_avail = 25\n}\n");
        Start({"dovecot", "-F", "-c", (fFolder / "peer.conf").string()});
        if (Await(port))
            peerPort = port;
    }

    fs::path fFolder;
    std::string fUsers;
    std::vector<pid_t> fChildren;
};

Servers &AllServers() {
    static Servers servers;
    return servers;
}

class Client {
public:
    Client(int port, std::string const &user) : fSocket(ConnectTo(port)) {
        if (fSocket < 0)
            throw std::runtime_error("the server does not accept a connection");
        Answer();
        Send("USER " + user + "\r\n");
        Answer();
        Send("PASS secret\r\n");
        Answer();
    }
    Client(Client const &) = delete;
    Client &operator=(Client const &) = delete;
    ~Client() { close(fSocket); }

    void Send(std::string_view text) {
        while (!text.empty()) {
            ssize_t const sent = send(fSocket, text.data(), text.size(), MSG_NOSIGNAL);
            if (sent <= 0)
                throw std::runtime_error("the connection is lost");
            text.remove_prefix(static_cast<std::size_t>(sent));
        }
    }

    void Answer() { // reads a line, which must be "+OK"
        char const *end;
        while (!(end = static_cast<char const *>(std::memchr(fAt, '\n', Left()))))
            More();
        if (*fAt != '+')
            throw std::runtime_error("refused: " + std::string(fAt, end));
        fAt = end + 1;
    }

    void Message() { // reads a body to its last line
        for (;;) {
            if (void const *const end = memmem(fAt, Left(), "\r\n.\r\n", 5)) {
                fAt = static_cast<char const *>(end) + 5;
                return;
            }
            if (Left() > 4)
                fAt = fEnd - 4;
            More();
        }
    }

    void Quit() {
        Send("QUIT\r\n");
        Answer();
    }

private:
    std::size_t Left() const { return static_cast<std::size_t>(fEnd - fAt); }

    void More() {
        std::size_t const left = Left();
        std::memmove(fBuffer.data(), fAt, left);
        ssize_t const count = recv(fSocket, fBuffer.data() + left, fBuffer.size() - left, 0);
        if (count <= 0)
            throw std::runtime_error("the connection is lost");
        fAt = fBuffer.data();
        fEnd = fAt + left + count;
    }

    int fSocket;
    std::vector<char> fBuffer = std::vector<char>(1 << 18);
    char const *fAt = fBuffer.data();
    char const *fEnd = fAt;
};

using Run = void (*)(benchmark::State &state, int port);

void Pipelined(benchmark::State &state, int port) {
    Client client(port, "many");
    std::string commands;
    for (int i = 1; i <= fsMany; ++i)
        commands += "RETR " + std::to_string(i) + "\r\n";
    for (auto _ : state) {
        client.Send(commands);
        for (int i = 0; i < fsMany; ++i) {
            client.Answer();
            client.Message();
        }
    }
    client.Quit();
}

void OneAtATime(benchmark::State &state, int port) {
    Client client(port, "many");
    for (auto _ : state) {
        for (int i = 1; i <= fsMany; ++i) {
            client.Send("RETR " + std::to_string(i) + "\r\n");
            client.Answer();
            client.Message();
        }
    }
    client.Quit();
}

void LoginStat(benchmark::State &state, int port) {
    for (auto _ : state) {
        Client client(port, "many");
        client.Send("STAT\r\n");
        client.Answer();
        client.Quit();
    }
}

void Big(benchmark::State &state, int port) {
    Client client(port, "big");
    for (auto _ : state) {
        client.Send("RETR 1\r\n");
        client.Answer();
        client.Message();
    }
    client.Quit();
}

void FetchTen(int port, std::string const &user) {
    Client client(port, user);
    client.Send("STAT\r\n");
    client.Answer();
    for (int i = 1; i <= 10; ++i) {
        client.Send("RETR " + std::to_string(i) + "\r\n");
        client.Answer();
        client.Message();
    }
    client.Quit();
}

void Sessions(benchmark::State &state, int port) {
    for (auto _ : state)
        FetchTen(port, "ten0");
}

void SessionsAtOnce(benchmark::State &state, int port) {
    for (auto _ : state) {
        std::vector<std::thread> clients;
        for (int i = 0; i < 25; ++i)
            clients.emplace_back([port, i] { FetchTen(port, "ten" + std::to_string(i)); });
        for (std::thread &client : clients)
            client.join();
    }
}

void OnOwn(benchmark::State &state, Run run) {
    run(state, AllServers().ownPort);
}

void OnPeer(benchmark::State &state, Run run) {
    if (int const port = AllServers().peerPort)
        run(state, port);
    else
        state.SkipWithError("dovecot does not start");
}

// The bytes of the big message go through a socket, and nobody looks at them before they are sent.
void CopyOnly(benchmark::State &state) {
    int const listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in at{};
    at.sin_family = AF_INET;
    at.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof at;
    if (bind(listener, reinterpret_cast<sockaddr *>(&at), size) != 0 || listen(listener, 1) != 0 ||
        getsockname(listener, reinterpret_cast<sockaddr *>(&at), &size) != 0)
        return state.SkipWithError("no socket");
    std::thread server([listener] {
        std::string const text = Text(fsBig) + ".\r\n";
        int const fd = accept(listener, nullptr, nullptr);
        char command[64];
        for (;;) {
            ssize_t const count = recv(fd, command, sizeof command, 0);
            if (count <= 0 || *command == 'Q')
                break;
            if (*command != 'R') {
                send(fd, "+OK\r\n", 5, MSG_NOSIGNAL);
                continue;
            }
            send(fd, "+OK\r\n", 5, MSG_NOSIGNAL);
            for (std::size_t sent = 0; sent < text.size();) {
                ssize_t const part =
                    send(fd, text.data() + sent, std::min<std::size_t>(16384, text.size() - sent), MSG_NOSIGNAL);
                if (part <= 0)
                    break;
                sent += static_cast<std::size_t>(part);
            }
        }
        close(fd);
    });
    int const fd = ConnectTo(ntohs(at.sin_port));
    std::vector<char> buffer(1 << 18);
    std::size_t const expected = 5 + Text(fsBig).size() + 3;
    for (auto _ : state) {
        send(fd, "RETR 1\r\n", 8, MSG_NOSIGNAL);
        for (std::size_t left = expected; left > 0;) {
            ssize_t const count = recv(fd, buffer.data(), buffer.size(), 0);
            if (count <= 0)
                break;
            left -= std::min(left, static_cast<std::size_t>(count));
        }
    }
    close(fd);
    server.join();
    close(listener);
}

#define POP3D_ROW(name)                                                                                                \
    BENCHMARK_CAPTURE(OnOwn, name, name)->Name(#name)->UseRealTime();                                                  \
    BENCHMARK_CAPTURE(OnPeer, name, name)->Name(#name "Dovecot")->UseRealTime()

POP3D_ROW(Pipelined);
POP3D_ROW(OneAtATime);
POP3D_ROW(LoginStat);
POP3D_ROW(Big);
POP3D_ROW(Sessions);
POP3D_ROW(SessionsAtOnce);
BENCHMARK(CopyOnly)->UseRealTime();

} // namespace
