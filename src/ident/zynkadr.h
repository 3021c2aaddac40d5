// ZynUser: a user of the system; here, what becomes of his password.
//
// There are two stored forms. The digest can be compared and no more. The scrambled form can be
// turned back by anyone who has the key, and shows the password's length: it keeps a password from
// the eyes of those who pass by, and from nobody else.
#pragma once

#include "zynkstr.h"

class ZYN_EXPORT ZynUser {
  public:
    /// @name Passwords
    /// A null text is a contract failure, and so is a key without a byte. Lengths count bytes. No
    /// trace shows a password, but for the first character of `first`, which the conversion shows.
    /// @{
    /// The MD5 digest, 16 bytes, of the three texts one behind the other in UTF-16, and so the same
    /// in whatever code page the process is. Throws what ZynConverter::ToBigEndianUnicode does.
    static ZynBinary PasswordEncode(const ZynString& first, const ZynString& second,
                                    const ZynString& third);
    /// The scrambled form, as many bytes as the password has.
    static ZynBinary V2PasswordEncode(const ZynString& key, const ZynString& password);
    /// The password of a scrambled form; of another key, a text of no use.
    static ZynString V2PasswordDecode(const ZynString& key, const ZynBinary& scrambled);
    /// "%" and the scrambled form in hexadecimal.
    static ZynString PasswordEncodeAsString(const ZynString& key, const ZynString& password);
    /// The password, in lower case whatever it was, of a scrambled form in the text of a process
    /// definition: its length and its bytes as decimal numbers with blanks between them. Null for a
    /// length above 32, whatever the key. If there are fewer bytes than that, those there are
    /// count; a text without any number has the length 0. A byte that is no character in the
    /// locale's encoding stays as it is. ZynOSException for a text that is invalid in that
    /// encoding.
    static ZynString V2XQMPasswordDecode(const ZynString& key, const ZynString& text);
    /// @}
};
