# Debian packages of the installed components, made by cpack; scripts/package.sh is the way to call
# it. Dependencies on other people's libraries are found by dpkg-shlibdeps, those among ourselves
# stand here: programs and libraries need what they were built against or newer, headers exactly the
# library that they came with.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quivocore)
set(CPACK_PACKAGE_VENDOR "QuivoCore maintainers")
set(CPACK_PACKAGE_CONTACT "QuivoCore maintainers <maintainers@quivocore.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
    GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENTS_ALL "")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE quivocore)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}
    ${PROJECT_BINARY_DIR}/formats/tiff ${PROJECT_BINARY_DIR}/formats/synthetic
    ${PROJECT_BINARY_DIR}/display ${PROJECT_BINARY_DIR}/chains)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/debian/AddDocuments.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/debian/Repack.cmake)
set(CPACK_QUIVO_DEBIAN_DIR ${CMAKE_CURRENT_LIST_DIR}/debian)
set(CPACK_QUIVO_NEWS ${PROJECT_SOURCE_DIR}/CHANGELOG.md)

# quivo_package(COMPONENT NAME SECTION DESCRIPTION [DEPENDS]): one package.
macro(quivo_package component name section description)
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name})
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section})
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${description}")
  set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${ARGN}")
  if("${section}" STREQUAL "libdevel")
    set(CPACK_DEBIAN_${upper}_PACKAGE_SHLIBDEPS OFF)
  else()
    set(CPACK_DEBIAN_${upper}_PACKAGE_SHLIBDEPS ON)
  endif()
endmacro()

set(same "(= ${PROJECT_VERSION})")
set(this_or_newer "(>= ${PROJECT_VERSION})")
set(major ${PROJECT_VERSION_MAJOR})
quivo_package(runtime libquivocore${major} libs
"region reads from very large multi-resolution images
QuivoCore answers one question about images that are too large to load: what
is in this box at this level? Buffers, filters, tiled files and writers answer
it or pass it on, and chain freely.
.
This package has the library that programs load.")
quivo_package(development libquivocore-dev libdevel
"region reads from very large multi-resolution images - development files
QuivoCore answers one question about images that are too large to load: what
is in this box at this level? Buffers, filters, tiled files and writers answer
it or pass it on, and chain freely.
.
This package has the headers and what CMake and pkg-config need."
  "libquivocore${major} ${same}")

# quivo_library_package(NAME SUMMARY TEXT DEVELOPMENT_NEEDS [LIBRARIES...]): the two packages of
# libQuivoNAME, where it is built. It needs the core and our other LIBRARIES; its pkg-config file names
# what static linking needs.
macro(quivo_library_package name summary text development_needs)
  string(TOLOWER ${name} lower)
  if(TARGET Quivo${name})
    set(runtime_needs "libquivocore${major} ${this_or_newer}")
    set(needs "libquivo${lower}${major} ${same}, libquivocore-dev ${same}")
    foreach(other ${ARGN})
      string(APPEND runtime_needs ", libquivo${other}${major} ${this_or_newer}")
      string(APPEND needs ", libquivo${other}-dev ${same}")
    endforeach()
    if(NOT "${development_needs}" STREQUAL "")
      string(APPEND needs ", ${development_needs}")
    endif()
    quivo_package(${lower}_runtime libquivo${lower}${major} libs
"${summary}
${text}
.
This package has the library that programs load."
      "${runtime_needs}")
    quivo_package(${lower}_development libquivo${lower}-dev libdevel
"${summary} - development files
${text}
.
This package has the headers and what CMake and pkg-config need."
      "${needs}")
  endif()
endmacro()

quivo_library_package(Tiff "TIFF pyramids for QuivoCore"
"QuivoTiff reads TIFF and BigTIFF files of any layout as images of QuivoCore,
and writes tiled pyramids." "libtiff-dev, libpugixml-dev")
quivo_library_package(Synthetic "computed images of any size for QuivoCore"
"QuivoSynthetic has images that need no file: every pixel is computed when it
is read." "")
quivo_library_package(Display "pictures of very large images for QuivoCore"
"QuivoDisplay mixes channels to colours, turns colours of inks and of the eye
into those of a screen, finds display windows by histograms, and encodes PNG
and JPEG." "libpng-dev, libjpeg-dev, liblcms2-dev")
set(chains_formats synthetic)
if(TARGET QuivoTiff)
  list(APPEND chains_formats tiff)
endif()
quivo_library_package(Chains "images by their names for QuivoCore"
"QuivoChains opens an image of any format that was built by its name, and says
how it is best read." "" ${chains_formats})
if(TARGET quivo)
  quivo_package(tools quivo-tools graphics
"convert, merge and picture very large images
The command quivo turns TIFF files of any layout and size into tiled pyramids,
merges channels, tells what is in a file, and writes parts of it as PNG or as
numbers. Memory grows with the width of an image, never with its area."
    "libquivocore${major} ${this_or_newer}, libquivotiff${major} ${this_or_newer}, libquivodisplay${major} ${this_or_newer}, libquivochains${major} ${this_or_newer}")
endif()

include(CPack)
