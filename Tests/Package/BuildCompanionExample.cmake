# Installs the library, copies the example away and builds it against nothing but what was installed.
set(prefix ${WORK}/companion-prefix)
set(example ${WORK}/companion-source)
set(build ${WORK}/companion-build)
file(REMOVE_RECURSE ${prefix} ${example} ${build})

execute_process(COMMAND_ERROR_IS_FATAL ANY
  COMMAND ${CMAKE_COMMAND} --install ${BUILD} --component dev --prefix ${prefix})

file(GLOB_RECURSE installed ${prefix}/*.cmake ${prefix}/*.h)
foreach(file ${installed})
  file(READ ${file} content)
  string(FIND "${content}" "${SOURCE}/" at)
  if(NOT at EQUAL -1)
    message(FATAL_ERROR "${file} names the source tree")
  endif()
endforeach()

file(COPY ${SOURCE}/Examples/companion/ DESTINATION ${example})
execute_process(COMMAND_ERROR_IS_FATAL ANY
  COMMAND ${CMAKE_COMMAND} -S ${example} -B ${build} -G ${GENERATOR} -D CMAKE_BUILD_TYPE=Debug
    -D CMAKE_CXX_COMPILER=${COMPILER} "-DCMAKE_CXX_FLAGS=${FLAGS} -Wall -Wextra -Werror"
    -D CMAKE_PREFIX_PATH=${prefix} -D CMAKE_FIND_PACKAGE_NO_PACKAGE_REGISTRY=ON)
execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND ${CMAKE_COMMAND} --build ${build})
