# Where `cmake --install` puts files. The program is in one folder with its plug-ins, where it looks for them; a link
# in the folder of programs points to it.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(W64_PLUGIN_DIR ${CMAKE_INSTALL_LIBDIR}/w64)
set(W64_ZSH_DIR ${CMAKE_INSTALL_DATADIR}/zsh/site-functions CACHE STRING "Where zsh finds completions")

install(TARGETS w64 plugin mp3_plugin RUNTIME DESTINATION ${W64_PLUGIN_DIR} LIBRARY DESTINATION ${W64_PLUGIN_DIR})
file(RELATIVE_PATH program ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR}/w64/w64)
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/install)
file(CREATE_LINK ${program} ${PROJECT_BINARY_DIR}/install/w64 SYMBOLIC)
install(FILES ${PROJECT_BINARY_DIR}/install/w64 TYPE BIN)

# For authors of hosts.
install(FILES interface/w64_decoder.h TYPE INCLUDE)
install(FILES examples/CMakeLists.txt examples/decode.c DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples)
file(RELATIVE_PATH W64_PREFIX_FROM_PC /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" W64_PREFIX_FROM_PC ${W64_PREFIX_FROM_PC})
list(TRANSFORM CMAKE_DL_LIBS PREPEND -l OUTPUT_VARIABLE W64_PC_LIBS)
configure_file(cmake/w64.pc.in install/w64.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/install/w64.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
configure_package_config_file(cmake/w64Config.cmake.in install/w64Config.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/w64
    PATH_VARS CMAKE_INSTALL_INCLUDEDIR W64_PLUGIN_DIR NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(install/w64ConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/install/w64Config.cmake ${PROJECT_BINARY_DIR}/install/w64ConfigVersion.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/w64)

# For users of the command. The pages have links to one another and to the example.
install(FILES README.md CHANGELOG.md SECURITY.md TYPE DOC)
install(DIRECTORY docs TYPE DOC PATTERN w64.1 EXCLUDE)
install(FILES docs/w64.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES host/completions/w64.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME w64)
install(FILES host/completions/_w64 DESTINATION ${W64_ZSH_DIR})
install(FILES host/completions/w64.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
