# What Debian asks of a package beyond the installed files: compressed manuals and a changelog in its own form. CPack
# runs this before it packs.
set(share ${CPACK_TEMPORARY_DIRECTORY}/usr/share)
set(changelog ${share}/doc/w64/changelog)
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(WRITE ${changelog} "w64 (${CPACK_PACKAGE_VERSION}) unstable; urgency=medium

  * CHANGELOG.md has the changes.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")
file(GLOB manuals ${share}/man/man*/*)
execute_process(COMMAND gzip -9n ${changelog} ${manuals} COMMAND_ERROR_IS_FATAL ANY)
