# What is installed beside the programs, and packages of it. `cpack` in the build directory makes them, in package/ there.
set(ZAM_DOC_DIR share/doc/zam)
if(WIN32)  # a folder of its own, unpacked anywhere
  set(ZAM_DOC_DIR .)
  set(CPACK_GENERATOR ZIP)
endif()
install(FILES README.md CHANGELOG.md CONTRIBUTING.md LICENSE DESTINATION ${ZAM_DOC_DIR})
install(DIRECTORY docs DESTINATION ${ZAM_DOC_DIR} PATTERN man EXCLUDE)

set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/package)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
include(CPack)
