# SPDX-License-Identifier: MIT
# Debian packages made by `cpack -G DEB` in the build directory: textrix (the command, the provider's
# activation file, the catalogs and the desktop files) and libtextrix-dev (the library, its headers,
# its CMake package and pkg-config file). Each carries the copyright and changelog that Debian's
# tools look for.

set(textrix_maintainer "The Textrix developers <developers@textrix.org>")
set(textrix_release_date "Tue, 24 Nov 2026 12:00:00 +0000")  # this version's release

# The licence in Debian's machine-readable copyright format: each line indented by one space, an
# empty line as " .".
file(STRINGS ${PROJECT_SOURCE_DIR}/LICENSE textrix_license_lines)
list(REMOVE_AT textrix_license_lines 0 1 2)  # the title and the copyright line, said above
set(textrix_copyright "Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Upstream-Name: textrix
Upstream-Contact: ${textrix_maintainer}

Files: *
Copyright: 2026 The Textrix developers
License: MIT
")
foreach(line IN LISTS textrix_license_lines)
  if(line STREQUAL "")
    string(APPEND textrix_copyright " .\n")
  else()
    string(APPEND textrix_copyright " ${line}\n")
  endif()
endforeach()

find_program(TEXTRIX_GZIP gzip REQUIRED)
foreach(package textrix libtextrix-dev)
  if(package STREQUAL "textrix")
    set(component runtime)
  else()
    set(component development)
  endif()
  set(doc_dir ${PROJECT_BINARY_DIR}/doc/${package})
  file(WRITE ${doc_dir}/copyright "${textrix_copyright}")
  file(WRITE ${doc_dir}/changelog "textrix (${PROJECT_VERSION}) unstable; urgency=medium

  * First release.

 -- ${textrix_maintainer}  ${textrix_release_date}
")
  # gzip -n: no name or time stamp inside, so that the package is the same at every build.
  execute_process(COMMAND ${TEXTRIX_GZIP} -9nf ${doc_dir}/changelog COMMAND_ERROR_IS_FATAL ANY)
  install(FILES ${doc_dir}/copyright ${doc_dir}/changelog.gz
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component})
endforeach()

set(CPACK_PACKAGE_NAME textrix)
# The synopsis of both packages; each has its own description below.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "text services for the selection of any application")
set(CPACK_PACKAGE_VENDOR "The Textrix developers")
set(CPACK_PACKAGE_CONTACT "${textrix_maintainer}")
set(CPACK_PACKAGE_HOMEPAGE_URL "https://textrix.org")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME textrix)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION text)
# Loaded when first needed rather than linked, so dpkg-shlibdeps cannot see them: images, speech,
# the X11 selection and the Wayland clipboard; speech-dispatcher's client only speaks to a server the
# user runs; the example actions that ship with the command are in python3.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS
  "libtiff6, libespeak-ng1, libpcaudio0, libxcb1, libwayland-client0")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_RECOMMENDS "dbus-user-session | dbus-x11, libspeechd2, python3")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SUGGESTS
  "zenity | kdialog, libnotify-bin, fuzzel | rofi | dmenu, xclip, wl-clipboard, speech-dispatcher")
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "Textrix offers 38 text services: case changes, shifting lines and converting
tabs, trimming, collapsing spaces and line breaks, converting line endings,
reflowing mail-quoted text, quote conversion, removing links and attachments,
ROT13, repairing text between the Mac and Windows character sets, sorting
lines, inserting the date, time or a directory listing, statistics, and
speaking the text aloud. Rich text keeps its fonts, colours and links.

The textrix command applies any service as a filter, textrix pick applies one
to the desktop's selection, and a provider on the session bus, started on
demand, serves other programs.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libtextrix-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libicu-dev")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "This package holds the library behind Textrix, for C++20
programs: the text foundation, the RTF and RTFD codec, the pasteboard exchange
and the 38 text services, as static libraries with their headers, a CMake
package (find_package(textrix), target textrix::textrix) and a pkg-config file
(textrix).")

include(CPack)
