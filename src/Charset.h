#ifndef QUARN_LOGGING_CHARSET_H
#define QUARN_LOGGING_CHARSET_H

#include <langinfo.h>

#include <cstring>

namespace Quarn::Logging {

/// Whether in the charset of the locale the ASCII characters, and they alone, have the codes of ASCII, so that no
/// conversion is needed. Others than these are few and slow to tell apart: some have a letter in the place of a control
/// character, or a currency sign in that of the backslash.
inline bool CharsetKeepsAscii()
{
    const char* const charset = nl_langinfo(CODESET);
    switch (charset[0]) {
    case 'A':
        return std::strcmp(charset, "ANSI_X3.4-1968") == 0; // of the locale "C"
    case 'U':
        return std::strcmp(charset, "UTF-8") == 0;
    case 'I':
        return std::strncmp(charset, "ISO-8859-", 9) == 0;
    case 'E':
        return std::strncmp(charset, "EUC-", 4) == 0;
    default:
        return false;
    }
}

} // namespace Quarn::Logging

#endif
