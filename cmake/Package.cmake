# `cpack` makes a Debian package of the installed files. The preset "package" sets its folders.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR w64)
set(CPACK_PACKAGE_CONTACT "The w64 developers <w64@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "decoder plug-in and command for Wave64 audio files")
set(CPACK_PACKAGE_DESCRIPTION "w64 decodes Wave64 (.w64) audio files to WAV, FLAC or raw samples, makes them, shows
what is in them, edits their tags safely and salvages damaged ones. The decoder is a plug-in that other programs can
load; the header and build files for those are included.")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS fonts-dejavu-core) # for text in plots
include(CPack)
