# What an installation consists of. Three components: daemon (with table script and configuration), tools, services (what
# a Debian system runs it with). On a gateway of another make, install the first alone.
include(GNUInstallDirs)
set(share ${CMAKE_INSTALL_DATADIR}/datacollector)
set(own DataCollectorAppComponent/etc/Config)

install(TARGETS DataCollector RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT daemon)
install(PROGRAMS gateway/DatabaseInterface.sh DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT daemon)
install(DIRECTORY gateway/Config/root/ DESTINATION ${share}/common COMPONENT daemon
  PATTERN DataCollectorAppComponent EXCLUDE)
install(DIRECTORY gateway/Config/root/${own}/ DESTINATION ${share}/own COMPONENT daemon)
# install_manual(<file> <component>), compressed where gzip is there. Without a time stamp, so that two builds agree.
find_program(GZIP gzip)
function(install_manual file component)
  cmake_path(GET file FILENAME page)
  cmake_path(GET file EXTENSION LAST_ONLY section)
  string(SUBSTRING ${section} 1 -1 section)
  if(GZIP)
    execute_process(COMMAND ${GZIP} -9nc ${file} OUTPUT_FILE ${CMAKE_CURRENT_BINARY_DIR}/${page}.gz)
    set(file ${CMAKE_CURRENT_BINARY_DIR}/${page}.gz)
  endif()
  install(FILES ${file} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT ${component})
endfunction()
set(man ${CMAKE_CURRENT_SOURCE_DIR}/packaging/man)
install_manual(${man}/DataCollector.8 daemon)
install_manual(${man}/DatabaseInterface.sh.8 daemon)
install_manual(${man}/gateway-sim.1 tools)
install_manual(${man}/datacollectorctl.1 tools)
# The configuration's manual is its page of the documentation.
set(configuration_page ${CMAKE_CURRENT_SOURCE_DIR}/docs/configuration.md)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${configuration_page} ${man}/page-to-manual.awk)
execute_process(COMMAND awk -v name=DataCollector -v section=5 -v version=${PROJECT_VERSION}
  -v "summary=configuration files of DataCollector" -f ${man}/page-to-manual.awk ${configuration_page}
  OUTPUT_FILE ${CMAKE_CURRENT_BINARY_DIR}/DataCollector.5 RESULT_VARIABLE failed)
if(NOT failed)
  install_manual(${CMAKE_CURRENT_BINARY_DIR}/DataCollector.5 daemon)
endif()

install(TARGETS gateway-sim RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
install(TARGETS datacollectorctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)

# The stacks of threads are executable on MIPS, which the rule would forbid.
set(DATACOLLECTOR_MEMORY_RULE "MemoryDenyWriteExecute=yes")
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^mips")
  set(DATACOLLECTOR_MEMORY_RULE "MemoryDenyWriteExecute=no")
endif()
configure_file(packaging/systemd/datacollector.service.in datacollector.service @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/datacollector.service packaging/systemd/datacollector-logrotate.service
  packaging/systemd/datacollector-logrotate.timer DESTINATION lib/systemd/system COMPONENT services)
install(FILES packaging/systemd/datacollector.tmpfiles DESTINATION lib/tmpfiles.d RENAME datacollector.conf
  COMPONENT services)
install(PROGRAMS packaging/systemd/prepare DESTINATION libexec/datacollector COMPONENT services)
install(DIRECTORY gateway/Config/root/${own}/ DESTINATION /etc/datacollector COMPONENT services)
install(FILES packaging/debian/mosquitto.conf DESTINATION /etc/mosquitto/conf.d RENAME datacollector.conf
  COMPONENT services)
install(FILES packaging/debian/DataCollectorLogrotateConfig DESTINATION /etc/logrotate.d COMPONENT services)
