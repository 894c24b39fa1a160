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

# Installs a library with its CMake package (find_package(NAME) gives Quivo::...) and its
# pkg-config file. cmake/NAMEConfig.cmake.in and cmake/NAME.pc.in are its templates.
function(quivo_install library)
  include(CMakePackageConfigHelpers)
  set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/${library})
  install(TARGETS ${library} EXPORT ${library}Targets FILE_SET HEADERS)
  install(EXPORT ${library}Targets NAMESPACE Quivo:: DESTINATION ${package_dir})
  configure_package_config_file(${QUIVO_CMAKE_DIR}/${library}Config.cmake.in
                                ${PROJECT_BINARY_DIR}/${library}Config.cmake
                                INSTALL_DESTINATION ${package_dir})
  write_basic_package_version_file(${PROJECT_BINARY_DIR}/${library}ConfigVersion.cmake
                                   COMPATIBILITY SameMajorVersion)
  install(FILES ${PROJECT_BINARY_DIR}/${library}Config.cmake
                ${PROJECT_BINARY_DIR}/${library}ConfigVersion.cmake DESTINATION ${package_dir})
  # From lib/pkgconfig, or lib/ARCHITECTURE/pkgconfig, up to the prefix, wherever that is moved.
  string(REGEX REPLACE "[^/]+" ".." up_to_prefix "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
  configure_file(${QUIVO_CMAKE_DIR}/${library}.pc.in ${PROJECT_BINARY_DIR}/${library}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${library}.pc
          DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()
