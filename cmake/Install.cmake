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
# install_manual(<page> <section> <component>), compressed where gzip is there. Without a time stamp, so that two builds
# agree.
find_program(GZIP gzip)
function(install_manual page section component)
  set(file ${CMAKE_CURRENT_SOURCE_DIR}/packaging/man/${page}.${section})
  if(GZIP)
    execute_process(COMMAND ${GZIP} -9nc ${file} OUTPUT_FILE ${CMAKE_CURRENT_BINARY_DIR}/${page}.${section}.gz)
    set(file ${CMAKE_CURRENT_BINARY_DIR}/${page}.${section}.gz)
  endif()
  install(FILES ${file} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT ${component})
endfunction()
install_manual(DataCollector 8 daemon)
install_manual(DatabaseInterface.sh 8 daemon)
install_manual(gateway-sim 1 tools)

install(TARGETS gateway-sim RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
if(TARGET datacollectorctl)
  install(TARGETS datacollectorctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
endif()

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
