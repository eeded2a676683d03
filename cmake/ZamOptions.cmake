# Compiler settings that every target shares.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "" FORCE)
endif()

# Programs and libraries lie as they do when installed, so that zam finds its modules in either place.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(ZAM_DEFINITION_DIR ${PROJECT_BINARY_DIR}/share/zam/modules)

# What is installed belongs to a package: program, unless it says runtime (libraries) or development (for compilers).
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME program)
set(ZAM_DOC_DIR share/doc/zam)
if(WIN32)  # a folder of its own, unpacked anywhere
  set(ZAM_DOC_DIR .)
endif()

# The one optimised configuration, Release: what is tested, measured, installed and packaged. -O2, since the compiler is
# not to guess where lanes pay: Debian 12's GCC at -O3 (its loop vectoriser) translated a plain loop of four stores
# wrongly. Sources that want lanes use vector types. Line tables cost little and name the place in a crash.
# Set here, so that what an older build directory or CMake itself has for Release does not count.
set(ZAM_OPTIMISATION -O2 CACHE STRING "Optimisation of the build type Release; the results do not depend on it")
set(CMAKE_C_FLAGS_RELEASE "${ZAM_OPTIMISATION} -g1")
set(CMAKE_CXX_FLAGS_RELEASE "${ZAM_OPTIMISATION} -g1")
# For stepping through the code.
set(CMAKE_C_FLAGS_DEBUG "-Og -g")
set(CMAKE_CXX_FLAGS_DEBUG "-Og -g")

option(ZAM_WARNINGS_AS_ERRORS "Stop at compiler warnings" OFF)
set(ZAM_SANITIZE "" CACHE STRING "Sanitizers, as for -fsanitize=")

# Every operation is the one written: no contraction, no reassociation, so that results are the same everywhere. No
# vectoriser either, whatever the level (-O2 of GCC 12 and clang has one).
add_library(zam_options INTERFACE)
target_compile_options(zam_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion
  -ffp-contract=off -fno-tree-vectorize -fno-tree-slp-vectorize  # the latter for clang
  -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
if(ZAM_WARNINGS_AS_ERRORS)
  target_compile_options(zam_options INTERFACE -Werror)
endif()
if(ZAM_SANITIZE)
  target_compile_options(zam_options INTERFACE -fsanitize=${ZAM_SANITIZE} -fno-omit-frame-pointer
    -fno-sanitize-recover=undefined)
  target_link_options(zam_options INTERFACE -fsanitize=${ZAM_SANITIZE})
endif()
target_include_directories(zam_options INTERFACE ${PROJECT_SOURCE_DIR})

# zam_find_optional(NAME modules...): makes PkgConfig::NAME of what pkg-config knows by these names, if all of them are there;
# on Windows there is no pkg-config.
function(zam_find_optional name)
  find_package(PkgConfig QUIET)
  if(PkgConfig_FOUND)
    pkg_check_modules(${name} IMPORTED_TARGET ${ARGN})
  endif()
endfunction()

# zam_link_optional(TARGET NAME modules...): links these, and defines ZAM_WITH_NAME, if they are there. Without them the target
# builds too, and its program says what it cannot do.
function(zam_link_optional target name)
  zam_find_optional(${name} ${ARGN})
  if(TARGET PkgConfig::${name})
    target_link_libraries(${target} PRIVATE PkgConfig::${name})
    target_compile_definitions(${target} PRIVATE ZAM_WITH_${name})
  endif()
endfunction()

# zam_part(TARGET NAME SOURCE LIBRARY [COMPONENT]): SOURCE of TARGET uses LIBRARY, which may not be there. It becomes the shared
# library zam_name, compiled with ZAM_WITH_NAME, which TARGET loads when it first calls it (base/part.h) and which is packaged
# with the libraries, or with COMPONENT; on Windows it stays in TARGET.
add_custom_target(zam_parts)
function(zam_part target name source library)
  if(NOT TARGET ${library})
    return()
  endif()
  if(WIN32)
    target_link_libraries(${target} PRIVATE ${library})
    target_compile_definitions(${target} PRIVATE ZAM_WITH_${name})
    return()
  endif()
  string(TOLOWER zam_${name} part)
  add_library(${part} MODULE ${source})
  target_link_libraries(${part} PRIVATE ${target} ${library})
  target_compile_definitions(${part} PRIVATE ZAM_WITH_${name} ZAM_IS_PART)
  set(exports ${PROJECT_SOURCE_DIR}/cmake/part_exports.map)
  target_link_options(${part} PRIVATE -Wl,--version-script=${exports})
  set_target_properties(${part} PROPERTIES LINK_DEPENDS ${exports} INSTALL_RPATH "$ORIGIN")
  set(component runtime ${ARGN})
  list(GET component -1 component)
  install(TARGETS ${part} LIBRARY DESTINATION lib COMPONENT ${component})
  add_dependencies(zam_parts ${part})
endfunction()
