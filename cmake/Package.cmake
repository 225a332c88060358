# `cpack` makes a Debian package of the installed files. The preset "package" sets its folders.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR w64)
set(CPACK_PACKAGE_CONTACT "The w64 developers <w64@example.org>")
if(DEFINED ENV{DEBEMAIL}) # as Debian's own tools have it
    set(CPACK_PACKAGE_CONTACT "$ENV{DEBFULLNAME} <$ENV{DEBEMAIL}>")
endif()
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "decoder plug-in and command for Wave64 audio files")
set(CPACK_PACKAGE_DESCRIPTION "w64 decodes Wave64 (.w64) audio files to WAV, FLAC and others, makes them,
shows what is in them, edits their tags safely and repairs damaged ones.
The decoder is a plug-in that other programs can load; the header and
build files for those are included.")
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_SOURCE_DIR}/cmake/DebianDocs.cmake)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS fonts-dejavu-core) # for text in plots
include(CPack)
