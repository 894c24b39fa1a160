# After cpack made the packages: says what this version of it can not. Libraries come with scripts
# that call ldconfig, where Debian wants a trigger; and several architectures may share libraries
# and their headers.

foreach(package IN LISTS CPACK_PACKAGE_FILES)
  set(folder ${package}.d)
  execute_process(COMMAND dpkg-deb --raw-extract ${package} ${folder} COMMAND_ERROR_IS_FATAL ANY)
  set(control ${folder}/DEBIAN)
  if(EXISTS ${control}/shlibs)
    file(REMOVE ${control}/postinst ${control}/postrm)
    file(WRITE ${control}/triggers "activate-noawait ldconfig\n")
  endif()
  file(READ ${control}/control text)
  string(REGEX REPLACE "\nPackage: lib[^\n]*" "\\0\nMulti-Arch: same" text "${text}")
  file(WRITE ${control}/control "${text}")
  execute_process(COMMAND dpkg-deb --root-owner-group -Zxz --build ${folder} ${package}
                  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE_RECURSE ${folder})
endforeach()
