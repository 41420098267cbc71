# What is installed beside the libraries and headers, and how other builds find them.
# Components: programs, library (the shared one), development.
include(CMakePackageConfigHelpers)

# `make install` and the packages build this target, and neither tests nor benchmarks.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)
add_custom_target(velorix_package)
add_dependencies(velorix_package velorix_static velorix_shared velorixassoc_static)

foreach(program velorix velorix-info velorix-assoc velorix-report)
    install(TARGETS ${program} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT programs)
    add_dependencies(velorix_package ${program})
endforeach()
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT programs)

# The pages, in the places in which they link to each other.
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/CHANGELOG.md
    DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT programs)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs
    COMPONENT programs FILES_MATCHING PATTERN *.md PATTERN *.png PATTERN man EXCLUDE)

set(man_folder ${CMAKE_BINARY_DIR}/man)
foreach(page velorix.1 velorix-info.1 velorix-assoc.1 velorix-report.1 velorix-grid.5 velorix.toml.5)
    string(REGEX MATCH "[0-9]$" section ${page})
    set(packed ${man_folder}/man${section}/${page}.gz)
    add_custom_command(OUTPUT ${packed} DEPENDS ${PROJECT_SOURCE_DIR}/docs/man/${page}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${man_folder}/man${section}
        COMMAND gzip -9nc ${PROJECT_SOURCE_DIR}/docs/man/${page} > ${packed})
    list(APPEND man_pages ${packed})
    install(FILES ${packed} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT programs)
endforeach()
add_custom_target(velorix_man ALL DEPENDS ${man_pages})
add_dependencies(velorix_package velorix_man)

# The share folder, and the same folder in the build tree for programs that run from there.
set(share_folder ${CMAKE_INSTALL_DATADIR}/velorix)
set(build_share ${CMAKE_BINARY_DIR}/share/velorix)
file(MAKE_DIRECTORY ${build_share})
foreach(pair models=platform/ttcalc/models examples=examples)
    string(REGEX MATCH "^(.*)=(.*)$" matched ${pair})
    set(folder ${PROJECT_SOURCE_DIR}/${CMAKE_MATCH_2})
    file(CREATE_LINK ${folder} ${build_share}/${CMAKE_MATCH_1} SYMBOLIC)
    install(DIRECTORY ${folder}/ DESTINATION ${share_folder}/${CMAKE_MATCH_1} COMPONENT programs
        USE_SOURCE_PERMISSIONS PATTERN CMakeLists.txt EXCLUDE PATTERN *.vxg EXCLUDE)
endforeach()

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/velorix)
install(EXPORT velorix NAMESPACE velorix:: FILE velorixTargets.cmake DESTINATION ${package_folder}
    COMPONENT development)
install(EXPORT velorixassoc NAMESPACE velorix:: FILE velorixassocTargets.cmake
    DESTINATION ${package_folder} COMPONENT development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/velorixConfig.cmake.in
    ${CMAKE_BINARY_DIR}/velorixConfig.cmake INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/velorixConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/velorixConfig.cmake ${CMAKE_BINARY_DIR}/velorixConfigVersion.cmake
    DESTINATION ${package_folder} COMPONENT development)

# A moved installation stays usable: pkg-config works the prefix out from where the file lies.
file(RELATIVE_PATH prefix_from_pc ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" prefix_from_pc "${prefix_from_pc}")
foreach(library velorix velorixassoc)
    configure_file(${PROJECT_SOURCE_DIR}/cmake/${library}.pc.in ${CMAKE_BINARY_DIR}/${library}.pc
        @ONLY)
    install(FILES ${CMAKE_BINARY_DIR}/${library}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT development)
endforeach()
