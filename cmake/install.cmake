# What "cmake --install" puts where, by component:
#
#   agent        the agent, nuvek-status, the systemd units, manual pages and documents
#   helpers      httpSpeed and traceroute, for a system that has no gateway's own; their folder goes into the agent's PATH
#   standins     libtcapi.so and libmjson-1.5.so, for a system that has none of its own, and the tool tcapi
#   desk         the platform server, its scenarios and its console's page
#   development  the contract headers that a device's own libraries must fulfil
#
# The unit names the agent's full path, so the prefix belongs to the configure step (-DCMAKE_INSTALL_PREFIX=/usr).
set(NUVEK_GENERATED ${CMAKE_BINARY_DIR}/generated)

# nuvek_install_from_template(COMPONENT DESTINATION TEMPLATE): fills in version, date and paths.
function(nuvek_install_from_template component destination template)
  cmake_path(GET template STEM LAST_ONLY name)
  configure_file(${template} ${NUVEK_GENERATED}/${name} @ONLY)
  install(FILES ${NUVEK_GENERATED}/${name} DESTINATION ${destination} COMPONENT ${component})
endfunction()

install(TARGETS nuvek RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT agent)
install(FILES README.md CHANGELOG.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT agent)
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT agent FILES_MATCHING PATTERN "*.md" PATTERN "*.svg" PATTERN "*.png")
configure_file(package/nuvek-status.in ${NUVEK_GENERATED}/nuvek-status @ONLY)
install(PROGRAMS ${NUVEK_GENERATED}/nuvek-status DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT agent)
nuvek_install_from_template(agent lib/systemd/system package/systemd/nuvek.service.in)
install(FILES package/systemd/nuvek-clock.service DESTINATION lib/systemd/system COMPONENT agent)
nuvek_install_from_template(agent lib/tmpfiles.d package/systemd/nuvek.conf.in)
nuvek_install_from_template(agent ${CMAKE_INSTALL_MANDIR}/man8 man/nuvek.8.in)
nuvek_install_from_template(agent ${CMAKE_INSTALL_MANDIR}/man5 man/nuvek-store.5.in)
nuvek_install_from_template(agent ${CMAKE_INSTALL_MANDIR}/man8 man/nuvek-status.8.in)

install(PROGRAMS package/helpers/httpSpeed package/helpers/traceroute DESTINATION lib/nuvek/helpers COMPONENT helpers)

install(TARGETS tcapi mjson LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/nuvek COMPONENT standins)
install(TARGETS tcapi_tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT standins)
nuvek_install_from_template(standins ${CMAKE_INSTALL_MANDIR}/man1 man/tcapi.1.in)

if(NUVEK_BUILD_DESK)
  install(TARGETS nuvek-platform RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT desk)
  nuvek_install_from_template(desk ${CMAKE_INSTALL_MANDIR}/man1 man/nuvek-platform.1.in)
  install(DIRECTORY desk/platform_server/scenarios DESTINATION share/nuvek COMPONENT desk)
  # The server looks for it there, seen from its own folder.
  install(DIRECTORY desk/console/ DESTINATION ${CMAKE_INSTALL_DATADIR}/nuvek/console COMPONENT desk)
endif()

install(FILES platform/tcapi.h platform/mjson.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/nuvek COMPONENT development)
