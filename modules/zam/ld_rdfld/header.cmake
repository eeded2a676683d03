# Scanner, grammar, model. The generated sources belong to a target of another directory, hence the custom target.
FLEX_TARGET(header_scanner header_scanner.l ${CMAKE_CURRENT_BINARY_DIR}/header_scanner.cpp)
BISON_TARGET(header_grammar header_grammar.y ${CMAKE_CURRENT_BINARY_DIR}/header_grammar.cpp
  DEFINES_FILE ${CMAKE_CURRENT_BINARY_DIR}/header_grammar.hpp COMPILE_FLAGS "-Wall -Werror")
add_custom_target(zam_header_language DEPENDS ${FLEX_header_scanner_OUTPUTS} ${BISON_header_grammar_OUTPUTS})
add_dependencies(zam_modules_objects zam_header_language)

target_sources(zam_modules_objects PRIVATE
  header_model.cpp
  header_reader.cpp
  header_statements.cpp
  ${FLEX_header_scanner_OUTPUTS}
  ${BISON_header_grammar_OUTPUTS}
)
target_include_directories(zam_modules_objects PRIVATE ${CMAKE_CURRENT_BINARY_DIR})

option(ZAM_TRACE_FIELD_HEADER "Print each statement of a field file's header that is understood" OFF)
if(ZAM_TRACE_FIELD_HEADER)
  set_source_files_properties(header_statements.cpp TARGET_DIRECTORY zam_modules_objects
    PROPERTIES COMPILE_DEFINITIONS ZAM_TRACE_FIELD_HEADER=1)
endif()
