// What the statements of the header language do to the header model. The grammar calls one function per statement.
//
// Each returns whether the statement held. If not, header_model().error says why, or is empty if memory ran out,
// which has been reported. Numbers come as the scanner reads them: 64-bit integers and single-precision reals.
#pragma once

#include "modules/zam/ld_rdfld/header_model.h"

namespace zam::ldrf {

/// Results of LDRF_yyparse besides those of every generated parser: 0 end of input, 1 aborted, 2 stack exhausted.
constexpr int kStatementFailed = -2;
constexpr int kEndOfHeaderRead = -1;

/// Types of the DATA statement.
enum DataTypeName : int {
    kByteType,
    kShortType,
    kXdrShortType,
    kIntType,
    kXdrIntType,
    kLongType,
    kXdrLongType,
    kFloatType,
    kXdrFloatType,
    kDoubleType,
    kXdrDoubleType
};

/// Forgets lists, options and loops of the previous header.
void reset_statements();

bool set_ndim(xp_long n);
bool set_dim(xp_long axis, xp_long nodes);  // axis from 1
bool set_nspace(xp_long n);
bool set_veclen(xp_long n);
bool set_nstep(xp_long n);
bool set_data_type(xp_long name);   // DataTypeName
bool set_field_kind(xp_long kind);  // FieldKind
bool set_element_size(xp_long bytes);
bool set_downsize(xp_long axis, float factor);  // axis from 1

/// Numbers come one by one, then the statement that they are for.
void begin_numbers();
bool add_number(float number);
bool set_crop_min();
bool set_crop_max();
bool set_min_ext();
bool set_max_ext();
bool set_min_val();
bool set_max_val();

bool add_label(const char* text);
bool add_unit(const char* text);

/// Options come before the source statement that ends them.
void set_skip(xp_long n);
void set_offset(xp_long n);
void set_stride(xp_long n);
bool set_close(xp_long n);

/// @param file  null if the statement names none
/// @param type  FileType
bool set_coord(xp_long n, const char* file, xp_long type);
bool set_variable(xp_long n, const char* file, xp_long type);
bool set_time_source(const char* file, xp_long type);
bool set_time_text(const char* text);
bool set_time_value(float value);

bool end_step();      // EOT
bool begin_repeat();  // DO
bool end_repeat();    // ENDDO

/// A token where none of its kind can stand.
bool unknown_keyword(const char* token);

}  // namespace zam::ldrf
