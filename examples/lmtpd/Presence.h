#ifndef LMTPD_PRESENCE_H
#define LMTPD_PRESENCE_H

namespace lmtpd {

enum class Presence {
    there,
    missing,
    unknown // the system cannot say, for example because too many files are open
};

} // namespace lmtpd

#endif
