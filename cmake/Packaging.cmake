# Installing Tavrelo as a desktop program, and the Debian package made from those install rules
# (scripts/package runs CPack). Everything a package holds comes from an install() here or beside
# a target; nothing is copied by hand.
include(GNUInstallDirs)
# CPack installs from the tree as it is: whoever packages builds first (scripts/package runs
# scripts/build, the package test depends on the installed targets), so installing does not
# rebuild every test on the way.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)

# Names the package publishes. The placeholders under .example stand until the project has a
# domain of its own; the application id is its reverse.
set(TAVRELO_APP_ID "example.tavrelo.Tavrelo" CACHE STRING "AppStream component and desktop-file id")
set(TAVRELO_HOMEPAGE "https://tavrelo.example/" CACHE STRING "Home page named in the metainfo")
set(TAVRELO_SCREENSHOTS_URL "https://tavrelo.example/docs/screenshots" CACHE STRING
    "Where the README's screenshots (docs/screenshots) are published")
set(TAVRELO_MAINTAINER "Tavrelo maintainers <maintainers@tavrelo.example>" CACHE STRING "Package maintainer")
# The date of this version, fixed so that the same sources make the same package.
set(TAVRELO_RELEASE_DATE "2026-11-22")
set(TAVRELO_CHANGELOG_DATE "Sun, 22 Nov 2026 00:00:00 +0000")

# The installed programs resolve their libraries at start (lintian's hardening-no-bindnow).
foreach(program tavrelo tavrelo-import tavrelo-demo)
  target_link_options(${program} PRIVATE "LINKER:-z,now")
endforeach()

# The program names its desktop file, so that a Wayland shell finds its menu entry and icon.
target_compile_definitions(tavrelo PRIVATE TAVRELO_APP_ID="${TAVRELO_APP_ID}")

# The metainfo shows the README's screenshots, in the README's order, captioned with their
# alternative text; the first is the default one.
file(READ ${CMAKE_SOURCE_DIR}/README.md TAVRELO_README)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/README.md)
# Square brackets would keep CMake from splitting the matches into a list: braces stand in.
string(REPLACE "[" "{" TAVRELO_README "${TAVRELO_README}")
string(REPLACE "]" "}" TAVRELO_README "${TAVRELO_README}")
string(REGEX MATCHALL "!{[^}]*}\\(docs/screenshots/[^)]+\\.png\\)" TAVRELO_README_SHOTS "${TAVRELO_README}")
set(TAVRELO_METAINFO_SCREENSHOTS "")
set(shot_type " type=\"default\"")
foreach(shot ${TAVRELO_README_SHOTS})
  string(REGEX REPLACE "^!{([^}]*)}\\(docs/screenshots/([^)]+)\\)$" "\\1" caption "${shot}")
  string(REGEX REPLACE "^!{([^}]*)}\\(docs/screenshots/([^)]+)\\)$" "\\2" file "${shot}")
  string(APPEND TAVRELO_METAINFO_SCREENSHOTS
    "    <screenshot${shot_type}>\n      <caption>${caption}</caption>\n"
    "      <image>${TAVRELO_SCREENSHOTS_URL}/${file}</image>\n    </screenshot>\n")
  set(shot_type "")
endforeach()

set(TAVRELO_DATA_OUT ${CMAKE_BINARY_DIR}/generated/data)
configure_file(${CMAKE_SOURCE_DIR}/data/tavrelo.desktop ${TAVRELO_DATA_OUT}/${TAVRELO_APP_ID}.desktop COPYONLY)
configure_file(${CMAKE_SOURCE_DIR}/data/tavrelo.metainfo.xml.in ${TAVRELO_DATA_OUT}/${TAVRELO_APP_ID}.metainfo.xml @ONLY)
configure_file(${CMAKE_SOURCE_DIR}/data/changelog.in ${TAVRELO_DATA_OUT}/changelog @ONLY)

# Manual pages: every docs/man/*.1 (the tools' authors add theirs there), compressed the way
# Debian wants them (gzip -9n: no name, no time stamp).
find_program(GZIP_PROGRAM gzip REQUIRED)
file(GLOB TAVRELO_MAN_PAGES CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/docs/man/*.1)
set(TAVRELO_COMPRESSED_DOCS)
foreach(page ${TAVRELO_MAN_PAGES})
  get_filename_component(name ${page} NAME)
  set(out ${CMAKE_BINARY_DIR}/generated/man/${name}.gz)
  add_custom_command(OUTPUT ${out}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/generated/man
    COMMAND ${GZIP_PROGRAM} -9nc ${page} > ${out}
    DEPENDS ${page}
    COMMENT "Compressing the manual page ${name}")
  list(APPEND TAVRELO_COMPRESSED_DOCS ${out})
  install(FILES ${out} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
endforeach()
set(TAVRELO_CHANGELOG_GZ ${TAVRELO_DATA_OUT}/changelog.gz)
add_custom_command(OUTPUT ${TAVRELO_CHANGELOG_GZ}
  COMMAND ${GZIP_PROGRAM} -9nc ${TAVRELO_DATA_OUT}/changelog > ${TAVRELO_CHANGELOG_GZ}
  DEPENDS ${TAVRELO_DATA_OUT}/changelog
  COMMENT "Compressing the package changelog")
list(APPEND TAVRELO_COMPRESSED_DOCS ${TAVRELO_CHANGELOG_GZ})
add_custom_target(tavrelo_install_data ALL DEPENDS ${TAVRELO_COMPRESSED_DOCS} ${TAVRELO_ICON_PNGS})

# The programs install beside their targets (tavrelo, tools/*). The build's empty-catalogue
# maker is not installed: the program makes its catalogue itself from the schema compiled in.

# The menu entry, the icon in every size, the metainfo, the copyright and changelog.
install(FILES ${TAVRELO_DATA_OUT}/${TAVRELO_APP_ID}.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
install(FILES ${TAVRELO_DATA_OUT}/${TAVRELO_APP_ID}.metainfo.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)
install(FILES ${TAVRELO_ICON_SVG} DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)
foreach(size ${TAVRELO_ICON_SIZES})
  install(FILES ${TAVRELO_ICON_DIR}/tavrelo-${size}.png DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/${size}x${size}/apps
          RENAME tavrelo.png)
endforeach()
install(FILES ${CMAKE_SOURCE_DIR}/data/copyright ${TAVRELO_CHANGELOG_GZ}
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/tavrelo)

# The Debian package.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tavrelo)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR})
set(CPACK_PACKAGE_CONTACT ${TAVRELO_MAINTAINER})
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "catalogue and presentation of a property sales office")
# CPack puts the summary on the first line and indents the rest itself; a blank line becomes " .".
set(CPACK_PACKAGE_DESCRIPTION "Tavrelo keeps the catalogue of a property development's houses (rooms or
units in named buildings) with their attribute rows and pictures, and
presents one house at a time to a customer with its pictures and the
background tune of its type. The interface is in Simplified Chinese.

Each user's catalogue lives in ~/.local/share/Tavrelo. The package also
holds tavrelo-import, which moves the catalogue of the earlier Windows
version into it; tavrelo-demo, which fills an empty one with a demo;
tavrelo-pricelist, which exports the catalogue as a CSV or Excel price
list and loads price lists from CSV, .xlsx and .xls files; tavrelo-backup,
which saves and restores a catalogue with its pictures and tunes; and
tavrelo-server, which makes, fills and copies back the shared catalogue on
a PostgreSQL server.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION misc)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE ${TAVRELO_HOMEPAGE})
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# What dpkg-shlibdeps cannot see: plugins loaded at run time. Qt's window-system plugins; the
# GStreamer plugins behind the music (wav and mp3 in -good); a Chinese font for the interface.
set(CPACK_DEBIAN_PACKAGE_DEPENDS
    "qt6-qpa-plugins, gstreamer1.0-plugins-base, gstreamer1.0-plugins-good, fonts-noto-cjk | fonts-arphic-uming")
# MIDI tunes need the fluidsynth plugin (-bad) and a General MIDI soundfont; the Song typeface
# (宋体) the windows ask for is mapped to AR PL UMing.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS
    "gstreamer1.0-plugins-bad, fluid-soundfont-gm | timgm6mb-soundfont, fonts-arphic-uming, gstreamer1.0-plugins-ugly, gstreamer1.0-libav")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
