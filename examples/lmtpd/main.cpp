// lmtpd: delivers mail on tuzutil. It has one session, over its standard input and output.

#include "Connection.h"
#include "Options.h"
#include "Session.h"
#include "System.h"

#include <exception>
#include <iostream>
#include <streambuf>

namespace {

// Passes bytes on to a new message.
class MessageBuf : public std::streambuf {
public:
    explicit MessageBuf(lmtpd::NewMessage &message) : fMessage(message) {}

protected:
    int_type overflow(int_type c) override {
        char const byte = traits_type::to_char_type(c);
        return fMessage.Write(&byte, 1) ? traits_type::not_eof(c) : traits_type::eof();
    }
    std::streamsize xsputn(char const *from, std::streamsize count) override {
        return fMessage.Write(from, static_cast<std::size_t>(count)) ? count : 0;
    }

private:
    lmtpd::NewMessage &fMessage;
};

// The Maildirs in a folder.
class Maildirs : public lmtpd::Mailboxes {
public:
    explicit Maildirs(std::string const &folder) : fFolder(folder) {}

    bool Exists(std::string const &name) override { return lmtpd::NewMessage::HasMaildir(Path(name)); }
    bool Deliver(std::string const &name, std::string const &head, TTempStream &message) override {
        lmtpd::NewMessage stored(Path(name));
        if (!stored.IsOpen())
            return false;
        MessageBuf buf(stored);
        std::ostream out(&buf);
        out << head;
        message.clear();
        if (!message.seekg(0)) // otherwise the message would be stored without its beginning
            return false;
        message.rdbuf()->WriteTo(out);
        return out.good() && stored.Commit();
    }

private:
    std::string Path(std::string const &name) const { return fFolder + '/' + name; }

    std::string fFolder;
};

} // namespace

int main(int count, char **arguments) {
    lmtpd::Options options;
    std::string problem;
    if (!options.Parse(count, arguments, problem)) {
        std::cerr << "lmtpd: " << problem << '\n';
        return 2;
    }
    if (options.isHelpWanted) {
        std::cout << lmtpd::Options::Usage();
        return 0;
    }
    try {
        lmtpd::PrepareStandardStreams();
        Maildirs mailboxes(options.mailboxes);
        lmtpd::Connection connection(options.idleSeconds);
        lmtpd::Session(connection, mailboxes, options.messageBytes).Run();
        return 0;
    } catch (std::exception const &failure) { // for example std::bad_alloc; what was not confirmed was not delivered
        std::cerr << "lmtpd: " << failure.what() << '\n';
        return 1;
    }
}
