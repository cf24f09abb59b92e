// lmtpd: delivers mail on tuzutil. It has one session, over its standard input and output.

#include "Connection.h"
#include "Options.h"
#include "Session.h"
#include "System.h"
#include "Tracing.h"

#include <exception>
#include <filesystem>
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
    using Presence = lmtpd::Presence;

    explicit Maildirs(std::string const &folder) : fFolder(folder) {}

    bool IsThere() const {
        std::error_code ignored;
        return std::filesystem::is_directory(fFolder, ignored);
    }

    // If the folder itself is gone, for example because its disk is not mounted, nobody knows which mailboxes there
    // are.
    Presence Find(std::string const &name) override {
        Presence const presence = lmtpd::NewMessage::FindMaildir(Path(name));
        return presence == Presence::missing && !IsThere() ? Presence::unknown : presence;
    }

    bool Deliver(std::string const &name, std::string const &head, TTempStream &message) override {
        lmtpd::NewMessage stored(Path(name));
        if (stored.IsOpen() && Store(stored, head, message))
            return true;
        TTracePoint::Write(TTrace::error, lmtpd::TraceCategory::delivery, "cannot deliver to %s: %s", name,
                           lmtpd::LastProblem());
        return false;
    }

private:
    static bool Store(lmtpd::NewMessage &stored, std::string const &head, TTempStream &message) {
        MessageBuf buf(stored);
        std::ostream out(&buf);
        out << head;
        message.clear();
        if (!message.seekg(0)) // otherwise the message would be stored without its beginning
            return false;
        message.rdbuf()->WriteTo(out);
        return out.good() && stored.Commit();
    }

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
        TTrace const trace("env"); // as long as this object exists, trace entries go where NUV_TRACE says
        lmtpd::PrepareStandardStreams();
        Maildirs mailboxes(options.mailboxes);
        if (!mailboxes.IsThere()) {
            std::cerr << "lmtpd: there is no folder \"" << options.mailboxes << "\"\n";
            return 2;
        }
        lmtpd::Connection connection(options.idleSeconds);
        lmtpd::Session(connection, mailboxes, options.messageBytes).Run();
        return 0;
    } catch (std::exception const &failure) { // for example std::bad_alloc; what was not confirmed was not delivered
        std::cerr << "lmtpd: " << failure.what() << '\n';
        return 1;
    }
}
