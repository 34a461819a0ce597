# The Debian package: `make package` (a Release build in build-package/, then `cpack -G DEB`).
# Its files are what `make install` installs, plus the Debian documents below.
set(MOXLEY_DEB_RELEASE 1)
set(MOXLEY_DEB_VERSION ${PROJECT_VERSION}-${MOXLEY_DEB_RELEASE})
set(MOXLEY_MAINTAINER "The Moxley developers <support@moxley.app>")

# The Debian documents, only in the package's build (make package sets MOXLEY_DEBIAN_DOCS).
option(MOXLEY_DEBIAN_DOCS "Install the Debian copyright and changelog files" OFF)
if(MOXLEY_DEBIAN_DOCS)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/changelog.Debian.in ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian @ONLY)
  add_custom_command(OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian.gz
    COMMAND gzip -9nkf ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian
    DEPENDS ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian)
  add_custom_target(moxley-debian-changelog ALL DEPENDS ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian.gz)
  install(FILES ${CMAKE_CURRENT_LIST_DIR}/copyright ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian.gz
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/moxley)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME moxley)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "The Moxley developers")
set(CPACK_PACKAGE_CONTACT ${MOXLEY_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${MOXLEY_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_RELEASE ${MOXLEY_DEB_RELEASE})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE https://moxley.app)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "schedule your own shell commands as systemd timers")
# CPack puts the summary on the first line, then this text.
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION "Moxley runs your own shell commands on a schedule: at log-in, every few
minutes, daily, weekly, monthly, on the last day of the month or on the n-th
weekday, at one or more times. Each enabled task becomes a systemd user timer,
so it runs while the app is closed.
.
The desktop app, moxley-app, shows the day's timeline, each task's run history
and logs, and runs a task once with live output. The command-line tool, moxley,
shares the same tasks.")
# The libraries the binaries link, with their versions, as dpkg-shlibdeps finds them. The Qt
# platform plugins (X11, Wayland) are loaded at run time, so shlibdeps
# cannot see them; systemd runs the tasks.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The SVG icon engine (every icon is an SVG) left libqt6svg6 for a package of its own after Debian 12.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "qt6-qpa-plugins, qt6-svg-plugins | libqt6svg6 (<< 6.5)")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "systemd, qt6-wayland")
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_SOURCE_GENERATOR "")
include(CPack)
