// Profile files: sections of "key=value" lines, as 64-bit Windows keeps settings; there the system's own calls.
//
//     ; a comment
//     [section]
//     key = value
//
// Sections and keys are compared without regard to the case of ASCII letters. Lines end with LF, CR LF or CR. Blanks
// round the key, "=" and the value do not belong to them, nor does one pair of quotes round the value. Of equal
// sections, and of equal keys in one, the first counts, also when it stands without "=" and so has no value. A
// section's name goes up to the last "]" of its line; without one the line belongs to the section before. What stands
// before the first section belongs to the one whose name is empty. Texts in UTF-16 begin with a byte order mark.
// Paths take either separator. A file is read anew at every call: others may have changed it.
#pragma once

#include <cstdint>

#if defined(_WIN32)
#if !defined(NOMINMAX)
#define NOMINMAX  // min and max are the standard library's
#endif
#include <windows.h>
#else

/// Copies the value of a key, cut to fit, always terminated.
/// @param otherwise  taken, without blanks at its end and quotes, where the file has no such value or cannot be read;
/// may
///                   be null. What is not a regular file, and a file of more than 4 MB, is not read
/// @param buffer     `size` bytes
/// @return characters copied, without the terminator; 0 without section, key or file
std::uint32_t GetPrivateProfileStringA(const char* section, const char* key, const char* otherwise, char* buffer,
                                       std::uint32_t size, const char* file);

/// Sets the value of a key; what is missing of file, section and key is made. All other bytes of the file stay. It is
/// written aside and then put in the place of the old one, at the target of a symbolic link too, with its mode; a line
/// of a new file ends with LF.
/// @param section, key, value  without control characters; a key has no "=" and does not begin with "[" or ";"
/// @return 1, or 0 when the file, named or linked, is read-only or cannot be read or written, or a text is null or
///         cannot be kept
int WritePrivateProfileStringA(const char* section, const char* key, const char* value, const char* file);

#endif
