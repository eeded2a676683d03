# What is installed for programs and plug-ins of others, beside what the rooms install themselves: headers, the CMake package
# zam with zam::contract, zam::host and zam::session, zam.pc, and the schema of network files.
include(CMakePackageConfigHelpers)

# Headers lie under zam/ there: contract/om.h becomes zam/contract/om.h, embedded/host.h becomes zam/host.h.
set(include_dir ${PROJECT_BINARY_DIR}/include)
file(GLOB contract_headers CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/contract/*.h)
foreach(header IN LISTS contract_headers ITEMS embedded/host.h)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${header})
  file(READ ${header} text)
  string(REPLACE "#include \"contract/" "#include \"zam/contract/" text "${text}")
  string(REPLACE "embedded/" "" header zam/${header})
  file(GENERATE OUTPUT ${include_dir}/${header} CONTENT "${text}")
endforeach()
install(DIRECTORY ${include_dir}/zam DESTINATION include COMPONENT development)

add_library(zam_contract INTERFACE)
target_include_directories(zam_contract INTERFACE $<INSTALL_INTERFACE:include>)
if(WIN32)  # where a library names the one that its imports come from
  target_link_libraries(zam_contract INTERFACE zam_host)
endif()
set_target_properties(zam_contract PROPERTIES EXPORT_NAME contract)
install(TARGETS zam_contract EXPORT zam COMPONENT development)
install(EXPORT zam NAMESPACE zam:: DESTINATION lib/cmake/zam COMPONENT development)

file(STRINGS contract/types.h abi REGEX "define ZAM_CONTRACT_ABI")
string(REGEX REPLACE ".* " "" ZAM_CONTRACT_ABI "${abi}")
if(WIN32)
  set(ZAM_MODULE_LIBRARY bin/zam_modules.dll)
else()
  set(ZAM_MODULE_LIBRARY lib/libzam_modules.so)
endif()
configure_package_config_file(cmake/zam-config.cmake.in ${PROJECT_BINARY_DIR}/cmake/zam-config.cmake
  INSTALL_DESTINATION lib/cmake/zam NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
# before 1.0 a minor version may change the interface
write_basic_package_version_file(${PROJECT_BINARY_DIR}/cmake/zam-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/cmake/zam-config.cmake ${PROJECT_BINARY_DIR}/cmake/zam-config-version.cmake
  DESTINATION lib/cmake/zam COMPONENT development)
if(TARGET zam_session)
  configure_file(cmake/zam.pc.in ${PROJECT_BINARY_DIR}/cmake/zam.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/cmake/zam.pc DESTINATION lib/pkgconfig COMPONENT development)
endif()

# For editors: "$schema" in a network file.
set(schema ${PROJECT_BINARY_DIR}/share/zam/network.schema.json)
add_custom_command(OUTPUT ${schema}
  COMMAND ${CMAKE_COMMAND} -E env --unset=ZAM_MODULE_PATH ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:zam> schema > ${schema}
  DEPENDS zam zam_definitions)
add_custom_target(zam_schema ALL DEPENDS ${schema})
install(FILES ${schema} DESTINATION share/zam)

# All that is installed, without tests and benchmarks.
add_custom_target(zam_all DEPENDS zam zam_schema)
foreach(target zam_session zam-mpi)
  if(TARGET ${target})
    add_dependencies(zam_all ${target})
  endif()
endforeach()
