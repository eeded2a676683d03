# Pages, and packages of all that is installed. `cpack` in the build directory makes them, in package/ there: a .zip for
# Windows; otherwise a .tar.gz of everything, and a .deb of each component.
install(FILES README.md CHANGELOG.md CONTRIBUTING.md LICENSE DESTINATION ${ZAM_DOC_DIR})
install(DIRECTORY docs DESTINATION ${ZAM_DOC_DIR} PATTERN man EXCLUDE)

set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/package)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
if(WIN32)
  set(CPACK_GENERATOR ZIP)
  include(CPack)
  return()
endif()

set(CPACK_GENERATOR TGZ DEB)
set(CPACK_PACKAGE_CONTACT "The developers of zam <zam@localhost>")
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
# What they need of the distribution is found in the files, of each other by the names of the libraries.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(soversion ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
set(same_version "(= ${PROJECT_VERSION})")

set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME zam)
set(CPACK_COMPONENT_PROGRAM_DESCRIPTION "Pictures from scientific data: the program zam, its pages and examples.")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_DEPENDS "libzam${soversion} ${same_version}")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_RECOMMENDS "fonts-dejavu-core")  # for legends

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libzam${soversion})
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "Scientific visualisation modules, their host, and networks of them in programs.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS "libsdl2-2.0-0")  # for joysticks
# In a directory that is only filled like a root (dpkg --root with scripts outside it), the cache would be this system's.
foreach(script postinst postrm)
  set(script ${PROJECT_BINARY_DIR}/package/${script})
  file(CONFIGURE OUTPUT ${script} CONTENT "#!/bin/sh\nset -e\n[ -n \"$DPKG_ROOT\" ] || ldconfig\n" @ONLY)
  file(CHMOD ${script} PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  list(APPEND with_libraries ${script})
endforeach()
set(CPACK_DEBIAN_PROGRAM_PACKAGE_CONTROL_EXTRA ${with_libraries})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${with_libraries})

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libzam-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Headers and CMake package of zam: for programs with networks, hosts and plug-ins.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libzam${soversion} ${same_version}")

if(TARGET zam-mpi)
  set(CPACK_DEBIAN_MPI_PACKAGE_NAME zam-mpi)
  set(CPACK_COMPONENT_MPI_DESCRIPTION "The program zam on several machines at once, over MPI.")
  set(CPACK_DEBIAN_MPI_PACKAGE_DEPENDS "zam ${same_version}")
  set(CPACK_DEBIAN_MPI_PACKAGE_RECOMMENDS "openmpi-bin")  # mpirun
  install(FILES LICENSE DESTINATION share/doc/zam-mpi RENAME copyright COMPONENT mpi)
endif()

if(TARGET zam_python)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-zam)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
  set(CPACK_COMPONENT_PYTHON_DESCRIPTION "Python module zam: scientific visualisation modules as functions of NumPy arrays.")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "libzam${soversion} ${same_version}, python3-numpy, ${ZAM_PYTHON_VERSIONS}")
  install(FILES LICENSE DESTINATION share/doc/python3-zam RENAME copyright COMPONENT python)
endif()

# Debian wants a licence in every package.
install(FILES LICENSE DESTINATION share/doc/zam RENAME copyright COMPONENT program)
install(FILES LICENSE DESTINATION share/doc/libzam${soversion} RENAME copyright COMPONENT runtime)
install(FILES LICENSE DESTINATION share/doc/libzam-dev RENAME copyright COMPONENT development)
include(CPack)
