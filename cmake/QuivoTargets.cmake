# What every target of the project shares, without leaking anything to the projects that use it.

set(QUIVO_CMAKE_DIR ${CMAKE_CURRENT_LIST_DIR})

# Language, warnings, sanitizers and numeric rules.
function(quivo_configure target)
  target_compile_features(${target} PUBLIC cxx_std_20)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF CXX_VISIBILITY_PRESET hidden
                        VISIBILITY_INLINES_HIDDEN ON)
  # No fused multiply-add: every CPU gives the same bits.
  target_compile_options(${target} PRIVATE -ffp-contract=off -Wall -Wextra -Wpedantic -Wconversion
                         -Wshadow -Wnon-virtual-dtor)
  # GCC 12 sees overlapping copies in every "text" + std::string (its bug 105651).
  target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)
  if(QUIVO_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(QUIVO_SANITIZE)
    list(JOIN QUIVO_SANITIZE "," sanitizers)
    target_compile_options(${target} PRIVATE -fsanitize=${sanitizers} -fno-sanitize-recover=all
                           -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=${sanitizers})
  endif()
endfunction()

# Lets a shared library export nothing but its interface.
function(quivo_limit_exports library)
  get_target_property(type ${library} TYPE)
  if(type STREQUAL "SHARED_LIBRARY" AND CMAKE_EXECUTABLE_FORMAT STREQUAL "ELF")
    target_link_options(${library} PRIVATE LINKER:--version-script=${QUIVO_CMAKE_DIR}/exports.map)
    set_property(TARGET ${library} APPEND PROPERTY LINK_DEPENDS ${QUIVO_CMAKE_DIR}/exports.map)
  endif()
endfunction()

# Installs a library as two components: RUNTIME_COMPONENT has what programs load, DEV_COMPONENT the
# headers, the CMake package (find_package(NAME) gives Quivo::...) and the pkg-config file, made from
# cmake/NAMEConfig.cmake.in and cmake/NAME.pc.in. All find each other wherever the prefix is moved.
function(quivo_install library runtime_component dev_component)
  if(NOT QUIVO_INSTALL)
    return()
  endif()
  include(CMakePackageConfigHelpers)
  set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/${library})
  set_target_properties(${library} PROPERTIES INSTALL_RPATH "$ORIGIN")
  install(TARGETS ${library} EXPORT ${library}Targets
          LIBRARY COMPONENT ${runtime_component} NAMELINK_COMPONENT ${dev_component}
          ARCHIVE COMPONENT ${dev_component}
          FILE_SET HEADERS COMPONENT ${dev_component})
  install(EXPORT ${library}Targets NAMESPACE Quivo:: DESTINATION ${package_dir}
          COMPONENT ${dev_component})
  get_target_property(library_type ${library} TYPE)
  configure_package_config_file(${QUIVO_CMAKE_DIR}/${library}Config.cmake.in
                                ${PROJECT_BINARY_DIR}/${library}Config.cmake
                                INSTALL_DESTINATION ${package_dir})
  write_basic_package_version_file(${PROJECT_BINARY_DIR}/${library}ConfigVersion.cmake
                                   COMPATIBILITY SameMajorVersion)
  install(FILES ${PROJECT_BINARY_DIR}/${library}Config.cmake
                ${PROJECT_BINARY_DIR}/${library}ConfigVersion.cmake
          DESTINATION ${package_dir} COMPONENT ${dev_component})
  # Folders may be absolute; those that are not lie below the prefix, which is found from the file.
  file(RELATIVE_PATH up_to_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
  cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_LIBDIR BASE_DIRECTORY "\${prefix}"
             OUTPUT_VARIABLE libdir)
  cmake_path(ABSOLUTE_PATH CMAKE_INSTALL_INCLUDEDIR BASE_DIRECTORY "\${prefix}"
             OUTPUT_VARIABLE includedir)
  configure_file(${QUIVO_CMAKE_DIR}/${library}.pc.in ${PROJECT_BINARY_DIR}/${library}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${library}.pc
          DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT ${dev_component})
endfunction()
