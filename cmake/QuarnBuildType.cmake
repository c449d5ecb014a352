# Without a build type CMake compiles unoptimised. On its own the project is then built as RelWithDebInfo. As a part of
# another project, whose build type is not ours to set, it is compiled with the same flags, unless CMAKE_CXX_FLAGS has
# an optimisation of its own.

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  if(PROJECT_IS_TOP_LEVEL)
    set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Debug, Release, RelWithDebInfo or MinSizeRel" FORCE)
  elseif(NOT CMAKE_CXX_FLAGS MATCHES "(^| )-O")
    string(APPEND CMAKE_CXX_FLAGS " ${CMAKE_CXX_FLAGS_RELWITHDEBINFO}")
  endif()
endif()
