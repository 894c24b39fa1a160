# Before cpack makes packages of the installed components: gives each the documents that Debian
# expects, and compresses manual pages.

# Of SOURCE_DATE_EPOCH where it is set, so that a package can be made again.
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(changelog "quivocore (${CPACK_PACKAGE_VERSION}) unstable; urgency=medium

  * Release ${CPACK_PACKAGE_VERSION}; NEWS.gz beside this file says what is new.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")

foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  set(share ${CPACK_TEMPORARY_DIRECTORY}/${component}${CPACK_PACKAGING_INSTALL_PREFIX}/share)
  set(documents ${share}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  file(COPY ${CPACK_QUIVO_DEBIAN_DIR}/copyright DESTINATION ${documents}
       FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  file(WRITE ${documents}/changelog "${changelog}")
  configure_file(${CPACK_QUIVO_NEWS} ${documents}/NEWS COPYONLY)
  file(GLOB pages ${share}/man/man*/*)
  execute_process(COMMAND gzip -9n ${documents}/changelog ${documents}/NEWS ${pages}
                  COMMAND_ERROR_IS_FATAL ANY)
endforeach()
