#ifndef POP3D_MAILBOX_H
#define POP3D_MAILBOX_H

// Mailbox: the messages of one user as one session sees them: a snapshot taken at login, in order of file name.
//
// A folder with "new" or "cur" in it is a Maildir; any other folder holds one message a file. Only Commit() changes
// anything on disk.

#include "tuzutil/TSTRING.h"

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace pop3d {

class Mailbox {
public:
    struct Message {
        std::string path;
        TString uid;
        std::uint64_t size = 0; // as sent, before dot-stuffing; 0 until it is asked for
        bool hasSize = false;
        bool isDeleted = false;
    };

    static bool Exists(std::string const &folder);

    explicit Mailbox(std::string const &folder);

    std::size_t QueryCount() const { return fMessages.size(); } // deleted ones included
    // The message of a number 1..QueryCount() that is not deleted, or null.
    Message *Find(std::size_t number);
    std::uint64_t QuerySize(Message &message);
    // Writes the message with CR LF line ends, without dot-stuffing; false where it cannot be read to its
    // end, or not be taken.
    static bool Copy(Message const &message, std::ostream &out);

    void Reset();
    // Removes the deleted messages, and counts them; false where one could not be removed.
    bool Commit(unsigned int &removed);

private:
    std::vector<Message> fMessages;
};

} // namespace pop3d

#endif
