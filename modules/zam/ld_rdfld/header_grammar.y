/* Grammar of the header language of field files. Statements need not stand on lines of their own. */

%code requires {
#include "contract/types.h"

// Parses the statements of a header into the header model. Declared before the generated declaration, for C linkage.
// Returns kStatementFailed, kEndOfHeaderRead, 0 at the end of the input, 1 when aborted, 2 when the stack is exhausted.
extern "C" int LDRF_yyparse(void);
}

%code {
#include "modules/zam/ld_rdfld/header_scanner.h"
#include "modules/zam/ld_rdfld/header_statements.h"

using namespace zam::ldrf;

// The stack never grows: lists are left-recursive, so that a header of any length needs a few entries.
#define YYINITDEPTH 200
#define YYMAXDEPTH 200

// A statement that fails ends the parse. Values own nothing, so there is nothing to free.
#define REQUIRE(held) \
    do { \
        if (!(held)) return kStatementFailed; \
    } while (0)

static void LDRF_yyerror(const char*) {}  // the rule for errors writes the message
}

%define api.prefix {LDRF_yy}
%define api.token.prefix {TOKEN_}
%expect 0

%union {
    xp_long integer;
    float real;
    char text[1024];
}

%token <integer> INTEGER
%token <real> REAL
%token <text> WORD QUOTED
%token NEWLINE END_OF_HEADER
%token NDIM NSPACE VECLEN NSTEP
%token DIM DIMENSION SIZE DATA FIELD
%token <integer> DIM_K DOWNSIZE_K DATA_TYPE FIELD_KIND FILE_TYPE
%token MIN_EXT MAX_EXT MIN_VAL MAX_VAL LABEL UNIT
%token CROP_MIN CROP_MAX DOWNSIZE
%token COORD VARIABLE TIME VALUE FILE
%token SKIP OFFSET STRIDE CLOSE
%token DO ENDDO EOT

%type <real> number
%type <text> text

%%

header:
    %empty
  | header item
  ;

item:
    NEWLINE
  | statement
  | error                               { REQUIRE(unknown_keyword(LDRF_yytext)); }
  ;

statement:
    NDIM '=' INTEGER                    { REQUIRE(set_ndim($3)); }
  | DIM INTEGER '=' INTEGER             { REQUIRE(set_dim($2, $4)); }
  | DIM_K '=' INTEGER                   { REQUIRE(set_dim($1, $3)); }
  | NSPACE '=' INTEGER                  { REQUIRE(set_nspace($3)); }
  | VECLEN '=' INTEGER                  { REQUIRE(set_veclen($3)); }
  | NSTEP '=' INTEGER                   { REQUIRE(set_nstep($3)); }
  | DATA '=' DATA_TYPE                  { REQUIRE(set_data_type($3)); }
  | FIELD '=' FIELD_KIND                { REQUIRE(set_field_kind($3)); }
  | SIZE '=' INTEGER                    { REQUIRE(set_element_size($3)); }
  | CROP_MIN '=' numbers                { REQUIRE(set_crop_min()); }
  | CROP_MAX '=' numbers                { REQUIRE(set_crop_max()); }
  | DOWNSIZE INTEGER '=' REAL           { REQUIRE(set_downsize($2, $4)); }
  | DOWNSIZE_K '=' REAL                 { REQUIRE(set_downsize($1, $3)); }  /* deliberate: 2 is no factor, 2.0 is */
  | MIN_EXT '=' numbers                 { REQUIRE(set_min_ext()); }
  | MAX_EXT '=' numbers                 { REQUIRE(set_max_ext()); }
  | MIN_VAL '=' numbers                 { REQUIRE(set_min_val()); }
  | MAX_VAL '=' numbers                 { REQUIRE(set_max_val()); }
  | LABEL '=' labels
  | UNIT '=' units
  | COORD INTEGER FILE '=' text DATA '=' FILE_TYPE options      { REQUIRE(set_coord($2, $5, $8)); }
  | COORD INTEGER DATA '=' FILE_TYPE options                    { REQUIRE(set_coord($2, nullptr, $5)); }
  | VARIABLE INTEGER FILE '=' text DATA '=' FILE_TYPE options   { REQUIRE(set_variable($2, $5, $8)); }
  | VARIABLE INTEGER DATA '=' FILE_TYPE options                 { REQUIRE(set_variable($2, nullptr, $5)); }
  | TIME FILE '=' text DATA '=' FILE_TYPE options               { REQUIRE(set_time_source($4, $7)); }
  | TIME DATA '=' FILE_TYPE options                             { REQUIRE(set_time_source(nullptr, $4)); }
  | TIME VALUE '=' text                 { REQUIRE(set_time_text($4)); }
  | TIME VALUE '=' number               { REQUIRE(set_time_value($4)); }
  | EOT                                 { REQUIRE(end_step()); }
  | DO                                  { REQUIRE(begin_repeat()); }
  | ENDDO                               { REQUIRE(end_repeat()); }
  | END_OF_HEADER                       { header_model().end_of_header = 1; return kEndOfHeaderRead; }
  ;

options:
    %empty
  | options option
  ;

option:
    SKIP '=' INTEGER                    { set_skip($3); }
  | OFFSET '=' INTEGER                  { set_offset($3); }
  | STRIDE '=' INTEGER                  { set_stride($3); }
  | CLOSE '=' INTEGER                   { REQUIRE(set_close($3)); }
  ;

numbers:
    number                              { begin_numbers(); REQUIRE(add_number($1)); }
  | numbers number                      { REQUIRE(add_number($2)); }
  ;

number:
    INTEGER                             { $$ = static_cast<float>($1); }
  | REAL
  ;

labels:
    text                                { REQUIRE(add_label($1)); }
  | labels text                         { REQUIRE(add_label($2)); }
  ;

units:
    text                                { REQUIRE(add_unit($1)); }
  | units text                          { REQUIRE(add_unit($2)); }
  ;

text:
    WORD
  | QUOTED
  ;
