# Debian packages through CPack (`make deb`): velorix, libvelorixN, libvelorix-dev and python3-velorix.
set(VELORIX_MAINTAINER "velorix maintainers <maintainers@velorix.invalid>" CACHE STRING
    "Maintainer of the Debian packages")
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME velorix)
set(CPACK_PACKAGE_VENDOR velorix)
set(CPACK_PACKAGE_CONTACT "${VELORIX_MAINTAINER}")
set(CPACK_COMPONENTS_ALL programs library development)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "travel-time grids and association for seismic networks")
set(about "For every candidate source of a grid and every station of a network, the first
P and S travel times of a spherical earth model, in one file; and an
association engine that turns streams of picks into events on such grids.
")
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_NAME velorix)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PROGRAMS_DESCRIPTION "${about}
This package has the programs velorix, velorix-info, velorix-assoc and
velorix-report, their manual pages, earth models and examples.")

set(runtime libvelorix${VELORIX_SOVERSION})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${runtime})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
file(WRITE ${CMAKE_BINARY_DIR}/debian/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${CMAKE_BINARY_DIR}/debian/triggers)
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "${about}
This package has the shared library.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvelorix-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
    "${runtime} (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}), libsqlite3-dev, libpcre2-dev, libxml2-dev, libpugixml-dev")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "${about}
This package has the headers, the static libraries (of grids, and of the
associator, in C++), and the files with which CMake and pkg-config find them.")

if(TARGET velorix_python)
    list(APPEND CPACK_COMPONENTS_ALL python)
    set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-velorix)
    set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
    set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS ON)
    math(EXPR next_minor "${VELORIX_PYTHON_MINOR} + 1")
    set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
        "python3 (>= 3.${VELORIX_PYTHON_MINOR}), python3 (<< 3.${next_minor}), python3-numpy")
    set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS "python3-pandas, python3-matplotlib, python3-xarray")
    set(CPACK_DEBIAN_PYTHON_DESCRIPTION "${about}
This package has the Python module velorix, for Debian's python3.")
endif()

# Every package carries its licence and what has changed.
set(VELORIX_DOC_FOLDERS programs/velorix library/${runtime} development/libvelorix-dev)
if(TARGET velorix_python)
    list(APPEND VELORIX_DOC_FOLDERS python/python3-velorix)
endif()
configure_file(${PROJECT_SOURCE_DIR}/cmake/debian_files.cmake.in ${CMAKE_BINARY_DIR}/debian_files.cmake
    @ONLY)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_BINARY_DIR}/debian_files.cmake)
include(CPack)
