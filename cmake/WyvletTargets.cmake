# Flags shared by every target of ours; dependencies are SYSTEM includes and exempt.
add_library(wyvlet_flags INTERFACE)
target_compile_options(wyvlet_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast -Wimplicit-fallthrough
  -Werror -fno-strict-aliasing -fstack-protector-strong)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # GCC 12 sees overlapping copies in std::string's operator+ once it optimises; there are none.
  target_compile_options(wyvlet_flags INTERFACE -Wno-restrict)
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  # The lock annotations of Support/Mutex.h are checked here.
  target_compile_options(wyvlet_flags INTERFACE -Wthread-safety)
endif()
if(WYVLET_SANITIZE)
  add_compile_options(-fsanitize=${WYVLET_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${WYVLET_SANITIZE})
endif()

if(WYVLET_BUILD_FUZZERS)
  # Every library counts its branches, for the fuzzers to find their way by.
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# wyvlet_library(NAME [SOURCES ...] [PUBLIC libs ...] [PRIVATE libs ...])
function(wyvlet_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_link_libraries(${name} PUBLIC ${ARG_PUBLIC} PRIVATE wyvlet_flags ${ARG_PRIVATE})
  target_include_directories(${name} PUBLIC
    $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/Sources>
    $<BUILD_INTERFACE:${CMAKE_SOURCE_DIR}/Sources/WyvletMCP>)
endfunction()

# wyvlet_unit_test(NAME LIBS libs... SOURCES files...)
function(wyvlet_unit_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE wyvlet_flags ${ARG_LIBS} GTest::gmock GTest::gtest GTest::gtest_main)
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR}/Tests)
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST PROPERTIES TIMEOUT 120)
endfunction()

# wyvlet_fuzzer(NAME SOURCES files... LIBS libs...)
# The sources define LLVMFuzzerTestOneInput. With WYVLET_BUILD_FUZZERS it becomes the libFuzzer target
# NAME; otherwise the test replay_NAME, which feeds it every file of Fuzzing/corpus/NAME, so that what a
# fuzzer once found stays found with any compiler.
function(wyvlet_fuzzer name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS" ${ARGN})
  if(WYVLET_BUILD_FUZZERS)
    add_executable(${name} ${ARG_SOURCES})
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  else()
    set(corpus ${CMAKE_SOURCE_DIR}/Fuzzing/corpus/${name})
    set(name replay_${name})
    add_executable(${name} ${ARG_SOURCES} ${CMAKE_SOURCE_DIR}/Fuzzing/ReplayMain.cpp)
    add_test(NAME ${name} COMMAND ${name} ${corpus})
    set_tests_properties(${name} PROPERTIES TIMEOUT 120)
  endif()
  target_link_libraries(${name} PRIVATE wyvlet_flags ${ARG_LIBS})
endfunction()
