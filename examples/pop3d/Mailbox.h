#ifndef POP3D_MAILBOX_H
#define POP3D_MAILBOX_H

// Mailbox: the messages of one user as one session sees them: a snapshot taken at login, in order of file name.
//
// A folder with "new" or "cur" in it is a Maildir; any other folder holds one message a file. Only Commit() changes
// anything on disk. A message that is no longer the file that was listed is neither sent nor removed.

#include "Files.h"

#include "tuzutil/TSTRING.h"

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

namespace pop3d {

class Mailbox {
public:
    struct Message {
        std::string folder; // in the mailbox; empty for the mailbox itself
        std::string name;
        file::Identity identity;
        TString uid;
        std::uint64_t size = 0; // as sent, before dot-stuffing
        bool hasSize = false;
        bool isDeleted = false;
    };

    static bool Exists(std::string const &folder);

    // A file of more than `maximum` bytes cannot be read as a message. `isWanted` is asked at each block of a message
    // that is read; when it says no, the reading fails.
    Mailbox(std::string const &folder, std::uint64_t maximum, std::function<bool()> isWanted);

    bool IsComplete() const { return fIsComplete; }             // false if a folder could not be listed
    std::size_t QueryCount() const { return fMessages.size(); } // deleted ones included
    // The message of a number 1..QueryCount() that is not deleted, or null.
    Message *Find(std::size_t number);
    // Sets the size of a message; false if it cannot be read now, which may be otherwise the next time.
    bool FindSize(Message &message);
    // Writes the message with CR LF line ends, without dot-stuffing; false if it cannot be read to its end, or not be
    // taken.
    bool Copy(Message const &message, std::ostream &out) const;

    void Reset();
    // Removes the deleted messages, and counts them; false if one could not be removed.
    bool Commit(unsigned int &removed);

private:
    void AddFolder(std::string const &folder);
    void AddUids();

    std::string fPath;
    std::uint64_t fMaximum;
    std::function<bool()> fIsWanted;
    std::vector<Message> fMessages;
    bool fIsComplete = true;
};

} // namespace pop3d

#endif
