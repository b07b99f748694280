# The Debian package of this build's architecture (cpack -G DEB).
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME datacollector)
set(CPACK_PACKAGE_VENDOR "DataCollector contributors")
set(CPACK_PACKAGE_CONTACT "DataCollector contributors <datacollector@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "store and forward of a gateway's meter readings")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION "Takes the records that the source applications of a small gateway publish on
the local MQTT broker, keeps them in bounded SQLite tables, hands them one by
one to the application that sends them, and notes their delivery. Records
survive restarts, power cuts and outages of the network.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(architecture ${GATEWAY_ARCHITECTURE})
if(NOT architecture)
  find_program(DPKG dpkg)
  if(DPKG)
    execute_process(COMMAND ${DPKG} --print-architecture OUTPUT_VARIABLE architecture OUTPUT_STRIP_TRAILING_WHITESPACE)
  endif()
endif()
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${architecture})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libc6 (>= 2.36), libstdc++6 (>= 12), libgcc-s1, libconfig9, libmosquitto1 (>= 2.0),\
 libsqlite3-0 (>= 3.40), sqlite3, mosquitto, logrotate, adduser, init-system-helpers (>= 1.54)")
set(debian ${CMAKE_CURRENT_SOURCE_DIR}/packaging/debian)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)

# Everything below /etc is the user's to edit.
file(GLOB own_files CONFIGURE_DEPENDS RELATIVE ${CMAKE_CURRENT_SOURCE_DIR}/gateway/Config/root/${own}
  ${CMAKE_CURRENT_SOURCE_DIR}/gateway/Config/root/${own}/*.cfg)
list(TRANSFORM own_files PREPEND /etc/datacollector/)
list(APPEND own_files /etc/logrotate.d/DataCollectorLogrotateConfig /etc/mosquitto/conf.d/datacollector.conf)
list(JOIN own_files "\n" conffiles)
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/conffiles "${conffiles}\n")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
  ${debian}/postinst ${debian}/prerm ${debian}/postrm ${CMAKE_CURRENT_BINARY_DIR}/conffiles)

# What Debian expects of every package.
install(FILES packaging/debian/copyright DESTINATION share/doc/datacollector COMPONENT services)
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian
  "datacollector (${PROJECT_VERSION}-1) unstable; urgency=medium\n\n  * See CHANGELOG.md.\n\n"
  " -- DataCollector contributors <datacollector@example.org>  Fri, 20 Nov 2026 00:00:00 +0000\n")
if(GZIP)
  execute_process(COMMAND ${GZIP} -9nkf changelog.Debian WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR})
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/changelog.Debian.gz DESTINATION share/doc/datacollector COMPONENT services)
endif()
include(CPack)
