#ifndef POP3D_MAILBOX_H
#define POP3D_MAILBOX_H

// Mailbox: the messages of one user, as one session sees them. The messages are listed at login, in the order of their
// file names.
//
// A mailbox that contains a folder "new" or "cur" is a Maildir. In any other folder, each file is a message. Only
// Commit() changes the files. If a file was changed or replaced after the login, its message is neither sent nor
// removed.

#include "Files.h"

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

namespace pop3d {

class MessageSource;

class Mailbox {
public:
    // A folder with messages. It stays open until the Mailbox is destroyed.
    struct Folder {
        std::string name; // "new" or "cur"; empty if the messages are directly in the folder of the mailbox
        file::Folder files;

        Folder(std::string const &mailbox, std::string const &folder) : name(folder), files(mailbox, folder) {}
    };

    struct Message {
        Folder const *folder = nullptr;
        std::string name;
        file::Identity identity;
        std::string uid;        // empty before FindUids()
        std::uint64_t size = 0; // in bytes, with CR LF line ends; dots that are added for sending do not count
        bool hasSize = false;
        bool isDeleted = false;
    };

    static bool Exists(std::string const &folder);

    // If a file has more than `maximum` bytes, its message cannot be read. FindSize() calls `isWanted` after
    // each block that it reads. If `isWanted` returns false, FindSize() fails.
    Mailbox(std::string const &folder, std::uint64_t maximum, std::function<bool()> isWanted);

    bool IsComplete() const { return fIsComplete; }             // false if messages may be missing
    std::size_t QueryCount() const { return fMessages.size(); } // including the deleted messages
    // Returns the message with this number (1 to QueryCount()). If there is no such message, or it is deleted, returns
    // null.
    Message *Find(std::size_t number);
    // Sets the size of a message. Returns false if the message cannot be read now. A later call may succeed.
    bool FindSize(Message &message);
    void FindUids(); // sets the UIDs of all messages
    // Returns a stream that reads the message in blocks of `block` bytes. The stream has already read the first block.
    // Returns null if the message cannot be read, or was changed or removed.
    std::unique_ptr<MessageSource> Open(Message const &message, std::size_t block) const;

    void Reset();
    // Removes the deleted messages, and adds the number of removed messages to `removed`. Returns false if a message
    // cannot be removed.
    bool Commit(unsigned int &removed);

private:
    struct Entry {
        Folder const *folder;
        std::string name;
    };

    void AddFolder(std::string const &name, std::vector<Entry> &entries);
    void AddMessage(Entry &entry);

    std::string fPath;
    std::uint64_t fMaximum;
    std::function<bool()> fIsWanted;
    std::list<Folder> fFolders; // a list, because messages point to its elements
    std::vector<Message> fMessages;
    bool fHasUids = false;
    bool fIsComplete = true;
};

} // namespace pop3d

#endif
