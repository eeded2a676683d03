// The scanner of the header language, generated from header_scanner.l. One header is scanned at a time.
#pragma once

#include <cstdio>

namespace zam::ldrf {

/// A single word, number or quoted text of a header may have this many bytes; the scanner's buffer grows up to there.
constexpr int kMaxTokenLength = 16 << 20;

/// Whether the header ended early because of a longer one, since LDRF_yylex_destroy.
bool token_was_too_long();

}  // namespace zam::ldrf

extern "C" {

/// Text of the token read last, as it stands in the file.
extern char* LDRF_yytext;

/// Reads one token; its value is in LDRF_yylval.
/// @return the token's code, 0 at the end of the file
int LDRF_yylex(void);

/// Starts a new file at its current position.
void LDRF_yyrestart(std::FILE* file);

/// Frees the scanner's buffer.
int LDRF_yylex_destroy(void);

/// Reads characters up to a newline, which is pushed back.
void LDRFskip_comments(void);
}
