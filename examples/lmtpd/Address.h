#ifndef LMTPD_ADDRESS_H
#define LMTPD_ADDRESS_H

// Functions that take the commands MAIL and RCPT apart (RFC 5321, section 4.1.2).

#include <string>
#include <string_view>

namespace lmtpd {

// Returns whether the texts are the same, apart from the case of the letters A to Z.
bool IsSame(std::string_view a, std::string_view b);

// Removes the next word from `rest`, with the blanks around it, and returns the word. If there is no word, it is empty.
std::string_view TakeWord(std::string_view &rest);

// Removes `keyword`, for example "FROM:", and the path after it, for example "<anna@example.org>", from `rest`. Stores
// the address in the path, for example "anna@example.org", without a route in front of it. The address may be empty.
// Returns false if there is no such path, or if it has other than printable ASCII characters, or more than 256 bytes.
bool TakePath(std::string_view &rest, std::string_view keyword, std::string &address);

// Returns the name of the folder of the recipient's mailbox: the part before the last "@", in lower case. Such a name
// consists of letters, digits, "-", "_" and inner dots, so it leads to no other folder. If the recipient has no such
// name, returns an empty text.
std::string MailboxName(std::string const &address);

} // namespace lmtpd

#endif
