# The operator's endpoints, built into the agent. A value must fit its field of the endpoint table with its terminator;
# one that does not stops the configure step.
set(NUVEK_ENDPOINT_FIELDS
  "NUVEK_PLATFORM_DOMAIN_1|15|nuvek-p1.test|primary platform domain"
  "NUVEK_PLATFORM_DOMAIN_2|15|nuvek-p2.test|secondary platform domain"
  "NUVEK_REGISTRATION_URL_1|31|http://nuvek-p1.test/reg/|primary registration URL"
  "NUVEK_REGISTRATION_URL_2|31|http://nuvek-p2.test/reg/|secondary registration URL"
  "NUVEK_SPEED_URL_1|47|http://nuvek-p1.test/speedtest|primary speed-test URL"
  "NUVEK_SPEED_URL_2|47|http://nuvek-p2.test/speedtest|secondary speed-test URL"
  "NUVEK_TRACE_HOST|15|trace.test|trace-route target host"
  "NUVEK_TIME_HOST|15|time.test|time server host")

foreach(row IN LISTS NUVEK_ENDPOINT_FIELDS)
  string(REPLACE "|" ";" row "${row}")
  list(GET row 0 name)
  list(GET row 1 longest)
  list(GET row 2 default)
  list(GET row 3 meaning)
  set(${name} "${default}" CACHE STRING "The ${meaning}, at most ${longest} characters")
  string(LENGTH "${${name}}" length)
  if(length EQUAL 0 OR length GREATER longest)
    message(FATAL_ERROR "${name}, the ${meaning}, has ${length} characters; it needs 1 to ${longest}: \"${${name}}\"")
  endif()
  # These texts become C strings, and some of them words of a shell command.
  if(NOT "${${name}}" MATCHES "^[A-Za-z0-9./:_-]+$")
    message(FATAL_ERROR "${name}, the ${meaning}, may hold letters, digits and . / : _ - only: \"${${name}}\"")
  endif()
endforeach()

function(nuvek_target_endpoints target)
  foreach(row IN LISTS NUVEK_ENDPOINT_FIELDS)
    string(REGEX REPLACE "\\|.*" "" name "${row}")
    target_compile_definitions(${target} PRIVATE ${name}="${${name}}")
  endforeach()
endfunction()
