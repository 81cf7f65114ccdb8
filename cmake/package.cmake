# The files of the packages, filled in for script/package.
execute_process(COMMAND dpkg --print-architecture OUTPUT_VARIABLE ARCHITECTURE OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
foreach(template debian/control openwrt/nuvek/Makefile)
  configure_file(package/${template}.in ${NUVEK_GENERATED}/package/${template} @ONLY)
endforeach()
file(CONFIGURE OUTPUT ${NUVEK_GENERATED}/package/release @ONLY CONTENT "@PROJECT_VERSION@ @NUVEK_RELEASE_DATE@\n")
