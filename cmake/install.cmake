# What "cmake --install" puts where, by component:
#
#   agent        the agent, its systemd unit, its manual pages and documents
#   standins     libtcapi.so and libmjson-1.5.so, for a system that has none of its own, and the tool tcapi
#   desk         the platform server, and its console's page
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
install(FILES README.md CHANGELOG.md docs/porting.md docs/protocol.md docs/store.md
        DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT agent)
nuvek_install_from_template(agent lib/systemd/system package/systemd/nuvek.service.in)
nuvek_install_from_template(agent lib/tmpfiles.d package/systemd/nuvek.conf.in)
nuvek_install_from_template(agent ${CMAKE_INSTALL_MANDIR}/man8 man/nuvek.8.in)
nuvek_install_from_template(agent ${CMAKE_INSTALL_MANDIR}/man5 man/nuvek-store.5.in)

install(TARGETS tcapi mjson LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/nuvek COMPONENT standins)
install(TARGETS tcapi_tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT standins)
nuvek_install_from_template(standins ${CMAKE_INSTALL_MANDIR}/man1 man/tcapi.1.in)

if(NUVEK_BUILD_DESK)
  install(TARGETS nuvek-platform RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT desk)
  nuvek_install_from_template(desk ${CMAKE_INSTALL_MANDIR}/man1 man/nuvek-platform.1.in)
  # The server looks for it there, seen from its own folder.
  install(DIRECTORY desk/console/ DESTINATION ${CMAKE_INSTALL_DATADIR}/nuvek/console COMPONENT desk OPTIONAL)
  install(FILES docs/console.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT desk)
endif()

install(FILES platform/tcapi.h platform/mjson.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/nuvek COMPONENT development)
