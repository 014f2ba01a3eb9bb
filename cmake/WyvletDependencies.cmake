# Every library comes from the package manager: Debian 12 packages or Homebrew.
# Static archives are preferred where the packages ship them, because the agent
# starts this program anew for every session and start-up time is mostly loading.
find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)

set(Boost_USE_STATIC_LIBS ON)
find_package(Boost 1.81 REQUIRED COMPONENTS json)
find_package(fmt 9 REQUIRED)

# Debian ships libfmt as a shared library only. What ships has it compiled in, which saves the loader a
# library at every start; other builds link it, which saves the compiler the same work in every file.
add_library(wyvlet_fmt INTERFACE)
target_link_libraries(wyvlet_fmt INTERFACE $<IF:$<CONFIG:Release>,fmt::fmt-header-only,fmt::fmt>)
add_library(deps::fmt ALIAS wyvlet_fmt)

# Makes an imported target `name` from pkg-config module `module`, linking the
# archive `archive` when it exists and the shared library otherwise.
function(wyvlet_import name module archive)
  pkg_check_modules(${name} REQUIRED QUIET ${module})
  add_library(wyvlet_${name} INTERFACE)
  find_library(${name}_ARCHIVE NAMES ${archive} HINTS ${${name}_LIBRARY_DIRS} ${${name}_LIBDIR})
  if(${name}_ARCHIVE)
    target_link_libraries(wyvlet_${name} INTERFACE ${${name}_ARCHIVE})
  else()
    target_link_libraries(wyvlet_${name} INTERFACE ${${name}_LINK_LIBRARIES})
  endif()
  target_include_directories(wyvlet_${name} SYSTEM INTERFACE ${${name}_INCLUDE_DIRS})
  if(${name} STREQUAL "re2")
    target_link_libraries(wyvlet_${name} INTERFACE Threads::Threads)
  endif()
  add_library(deps::${name} ALIAS wyvlet_${name})
endfunction()

wyvlet_import(utf8proc libutf8proc libutf8proc.a)
wyvlet_import(re2 re2 libre2.a)
wyvlet_import(spng spng libspng.a)

find_path(STB_INCLUDE_DIR NAMES stb_image_resize.h stb/stb_image_resize.h PATH_SUFFIXES stb REQUIRED)
