# What no subsystem installs. Layout.cmake has the folders.
install(DIRECTORY docs/ DESTINATION ${PROGRAM_FOLDER}/docs FILES_MATCHING PATTERN "*.md" PATTERN "*.json"
  PATTERN "*.html")
install(PROGRAMS docs/examples/station.sh DESTINATION ${PROGRAM_FOLDER}/docs/examples)
install(DIRECTORY batch-operations DESTINATION ${PROGRAM_FOLDER})
if(NOT HOISTLINE_SYSTEM_LAYOUT)
  return()
endif()

# install_link(FOLDER NAME TARGET [COMPONENT component]) installs a symbolic link.
function(install_link folder name target)
  set(made ${CMAKE_BINARY_DIR}/links/${folder}/${name})
  file(REMOVE ${made})
  file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/links/${folder})
  file(CREATE_LINK ${target} ${made} SYMBOLIC)
  install(FILES ${made} DESTINATION ${folder} ${ARGN})
endfunction()

install_link(bin hoistline ../lib/hoistline/hoistline)
install_link(bin HoistlineApp ../lib/hoistline/HoistlineApp COMPONENT hoistline-gui)
install_link(share/doc/hoistline guide ../../../lib/hoistline/docs)

set(icons share/icons/hicolor/scalable)
install(FILES packaging/HoistlineApp.desktop DESTINATION share/applications COMPONENT hoistline-gui)
install(FILES packaging/HoistlineApp.svg DESTINATION ${icons}/apps COMPONENT hoistline-gui)
install(FILES packaging/application-x-tarnwell-package.svg DESTINATION ${icons}/mimetypes COMPONENT hoistline-gui)
install(FILES packaging/x-tarnwell-package.xml DESTINATION share/mime/packages COMPONENT hoistline-gui)

# The date is that of the newest version in the change log, whenever a package is built.
file(STRINGS CHANGELOG.md headings REGEX "^## \\[.*[0-9]+-[0-9]+-[0-9]+$")
list(GET headings 0 heading)
string(REGEX MATCH "[0-9]+-[0-9]+-[0-9]+$" RELEASE_DATE ${heading})
execute_process(COMMAND date --utc --rfc-email --date=${RELEASE_DATE} OUTPUT_VARIABLE RELEASE_TIME
  OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
set(MAINTAINER "HoistlineApp founders <founders@hoistline.invalid>")
configure_file(packaging/HoistlineApp.metainfo.xml ${CMAKE_BINARY_DIR}/HoistlineApp.metainfo.xml @ONLY)
configure_file(packaging/debian/changelog.Debian ${CMAKE_BINARY_DIR}/changelog.Debian @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/HoistlineApp.metainfo.xml DESTINATION share/metainfo COMPONENT hoistline-gui)
install(FILES packaging/debian/copyright DESTINATION share/doc/hoistline)
install(FILES CHANGELOG.md DESTINATION share/doc/hoistline RENAME changelog)
# Only Debian has these, so the tarball, which takes all components as one, goes without.
install(FILES ${CMAKE_BINARY_DIR}/changelog.Debian DESTINATION share/doc/hoistline EXCLUDE_FROM_ALL)
install(FILES packaging/debian/lintian-overrides DESTINATION share/lintian/overrides RENAME hoistline EXCLUDE_FROM_ALL)
install_link(share/doc hoistline-gui hoistline COMPONENT hoistline-gui EXCLUDE_FROM_ALL)
