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
    target_link_options(${library} PRIVATE LINKER:--version-script=${QUIVO_CMAKE_DIR}/exports.map
                        LINKER:--gc-sections)
    set_property(TARGET ${library} APPEND PROPERTY LINK_DEPENDS ${QUIVO_CMAKE_DIR}/exports.map)
  endif()
endfunction()

# One library of the project, shared or static: quivo_add_library(NAME ALIAS FOLDER COMPONENT
# DESCRIPTION SOURCES HEADERS ...). It becomes Quivo::ALIAS; its headers lie in FOLDER. OBJECTS are the
# object libraries that are compiled into it; PUBLIC are libraries of ours that its headers include,
# PRIVATE what only its sources need, with FINDS, the find_package calls, and REQUIRES, the pkg-config
# modules, that a static build passes on.
function(quivo_add_library name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "ALIAS;FOLDER;COMPONENT;DESCRIPTION"
                        "SOURCES;HEADERS;OBJECTS;PUBLIC;PRIVATE;FINDS;REQUIRES")
  list(TRANSFORM arg_HEADERS PREPEND ${arg_FOLDER}/)
  set(objects "")
  foreach(library IN LISTS arg_OBJECTS)
    list(APPEND objects $<TARGET_OBJECTS:${library}>)
  endforeach()
  add_library(${name} ${arg_SOURCES} ${objects})
  add_library(Quivo::${arg_ALIAS} ALIAS ${name})
  quivo_configure(${name})
  set_target_properties(${name} PROPERTIES EXPORT_NAME ${arg_ALIAS} VERSION ${PROJECT_VERSION}
                        SOVERSION ${PROJECT_VERSION_MAJOR} POSITION_INDEPENDENT_CODE ON DEFINE_SYMBOL ""
                        VERIFY_INTERFACE_HEADER_SETS ${PROJECT_IS_TOP_LEVEL})
  target_link_libraries(${name} PUBLIC ${arg_PUBLIC} PRIVATE ${arg_PRIVATE})
  target_sources(${name} PUBLIC FILE_SET HEADERS BASE_DIRS ${arg_FOLDER} FILES ${arg_HEADERS})
  quivo_limit_exports(${name})
  if(QUIVO_INSTALL)
    quivo_install(${name} "${arg_COMPONENT}" "${arg_DESCRIPTION}" "${arg_PUBLIC}" "${arg_FINDS}"
                  "${arg_REQUIRES}")
  endif()
endfunction()

# Object code that several libraries share without installing it: quivo_add_objects(NAME SOURCES...).
# Includes name it from the root of the repository, internal headers of the core from src/.
function(quivo_add_objects name)
  add_library(${name} OBJECT EXCLUDE_FROM_ALL ${ARGN})
  quivo_configure(${name})
  set_target_properties(${name} PROPERTIES POSITION_INDEPENDENT_CODE ON)
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}
                                            ${PROJECT_SOURCE_DIR}/src)
endfunction()

# Installs a library as two components: COMPONENT_runtime (runtime for the core) has what programs
# load, COMPONENT_development the headers, the CMake package (find_package(NAME) gives Quivo::...) and
# the pkg-config file. All find each other wherever the prefix is moved.
function(quivo_install library component description public finds requires)
  include(CMakePackageConfigHelpers)
  set(prefix "${component}_")
  if(component STREQUAL "core")
    set(prefix "")
  endif()
  set(dev_component ${prefix}development)
  set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/${library})
  set_target_properties(${library} PROPERTIES INSTALL_RPATH "$ORIGIN")
  install(TARGETS ${library} EXPORT ${library}Targets
          LIBRARY COMPONENT ${prefix}runtime NAMELINK_COMPONENT ${dev_component}
          ARCHIVE COMPONENT ${dev_component}
          FILE_SET HEADERS COMPONENT ${dev_component})
  install(EXPORT ${library}Targets NAMESPACE Quivo:: DESTINATION ${package_dir}
          COMPONENT ${dev_component})

  # What a user of the package has to find before it, and what pkg-config names.
  set(dependencies "")
  set(modules "")
  foreach(target IN LISTS public)
    string(REPLACE "::" "" package ${target})
    string(APPEND dependencies "find_dependency(${package} ${PROJECT_VERSION})\n")
    list(APPEND modules "${package} = ${PROJECT_VERSION}")
  endforeach()
  get_target_property(library_type ${library} TYPE)
  if(library_type STREQUAL "STATIC_LIBRARY")
    list(PREPEND finds Threads)
  endif()
  if(library_type STREQUAL "STATIC_LIBRARY" OR component STREQUAL "core")
    foreach(package IN LISTS finds)
      string(APPEND dependencies "find_dependency(${package})\n")
    endforeach()
  endif()
  list(REMOVE_DUPLICATES modules)
  list(JOIN modules ", " modules)
  list(JOIN requires ", " requires)
  configure_package_config_file(${QUIVO_CMAKE_DIR}/Package.cmake.in
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
  configure_file(${QUIVO_CMAKE_DIR}/Package.pc.in ${PROJECT_BINARY_DIR}/${library}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${library}.pc
          DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT ${dev_component})
endfunction()
