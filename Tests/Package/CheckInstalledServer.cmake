# Installs the server into an empty tree and starts it from there.
set(prefix ${WORK}/server-prefix)
file(REMOVE_RECURSE ${prefix})
execute_process(COMMAND_ERROR_IS_FATAL ANY
  COMMAND ${CMAKE_COMMAND} --install ${BUILD} --component server --prefix ${prefix})

foreach(file bin/WyvletMCP share/man/man1/WyvletMCP.1.gz share/wyvlet/inspector.html
    share/doc/wyvlet-mcp/README.md share/doc/wyvlet-mcp/changelog.gz share/doc/wyvlet-mcp/docs/protocol.md)
  if(NOT EXISTS ${prefix}/${file})
    message(FATAL_ERROR "${file} is not installed")
  endif()
endforeach()

execute_process(COMMAND ${prefix}/bin/WyvletMCP --version OUTPUT_VARIABLE version COMMAND_ERROR_IS_FATAL ANY)
if(NOT version STREQUAL "WyvletMCP ${VERSION}\n")
  message(FATAL_ERROR "the installed server says: ${version}")
endif()

file(READ ${SOURCE}/share/man/WyvletMCP.1 manual)
if(NOT manual MATCHES "\"WyvletMCP ${VERSION}\"")
  message(FATAL_ERROR "the manual page is of another version")
endif()
execute_process(COMMAND ${prefix}/bin/WyvletMCP --help OUTPUT_VARIABLE help COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "--[a-z]+|WYVLET_[A-Z_]+|NO_COLOR" words "${help}")
foreach(word ${words})
  string(REPLACE "-" "\\-" roff ${word})
  string(FIND "${manual}" "${roff}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "the manual page does not know ${word}")
  endif()
endforeach()
