# The day of this version's release, as CHANGELOG.md has it: the manual pages bear it and the packages' files are that old.
file(STRINGS ${CMAKE_SOURCE_DIR}/CHANGELOG.md NUVEK_HEADING REGEX "^## ${PROJECT_VERSION} \\(")
if(NOT NUVEK_HEADING MATCHES "\\(([0-9]+)-([0-9][0-9])-([0-9][0-9])\\)$")
  message(FATAL_ERROR "CHANGELOG.md has no heading \"## ${PROJECT_VERSION} (YEAR-MONTH-DAY)\"")
endif()
set(NUVEK_RELEASE_DATE ${CMAKE_MATCH_1}-${CMAKE_MATCH_2}-${CMAKE_MATCH_3})
math(EXPR month "1${CMAKE_MATCH_2} - 100")
math(EXPR day "1${CMAKE_MATCH_3} - 100")
set(months - January February March April May June July August September October November December)
list(GET months ${month} month)
set(NUVEK_RELEASE_DAY "${month} ${day}, ${CMAKE_MATCH_1}")  # as manual pages want it
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS CHANGELOG.md)
