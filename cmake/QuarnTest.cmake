# quarn_add_test(<name> SOURCES <file>... [LIBRARIES <target>...] [WRAP <function>...])
#   A GoogleTest program with the library's objects inside, its platform calls bound to the doubles of tests/support.
#   WRAP names further functions that its sources define as __wrap_<function>.
# quarn_add_process_test(<name> SOURCES <file>... [LIBRARIES <target>...])
#   A GoogleTest program that uses the real libQuarnLogging.so or starts programs that do; no doubles.

find_package(GTest REQUIRED)
include(GoogleTest)

# The services that tests/support/PlatformDoubles.cpp replaces.
set(QUARN_WRAPPED_CALLS
  clock_gettime clock_settime close fclose fopen64 mkdir mmap munmap nanosleep ntp_adjtime open pthread_mutex_destroy
  pthread_mutex_init pthread_mutex_lock pthread_mutexattr_destroy pthread_mutexattr_init pthread_mutexattr_setprotocol
  pthread_mutexattr_settype rename stat64 unlink)

function(quarn_finish_test target)
  target_link_libraries(${target} PRIVATE GTest::gmock_main)
  target_include_directories(${target} PRIVATE "${PROJECT_SOURCE_DIR}/tests/support")
  quarn_warnings(${target})
  gtest_discover_tests(${target} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120)
endfunction()

function(quarn_add_test target)
  cmake_parse_arguments(arg "" "" "SOURCES;LIBRARIES;WRAP" ${ARGN})
  add_executable(${target} ${arg_SOURCES})
  target_link_libraries(${target} PRIVATE QuarnLoggingObjects QuarnTestSupport ${arg_LIBRARIES})
  foreach(call IN LISTS QUARN_WRAPPED_CALLS arg_WRAP)
    target_link_options(${target} PRIVATE "-Wl,--wrap=${call}")
  endforeach()
  quarn_finish_test(${target})
endfunction()

function(quarn_add_process_test target)
  cmake_parse_arguments(arg "" "" "SOURCES;LIBRARIES" ${ARGN})
  add_executable(${target} ${arg_SOURCES})
  target_link_libraries(${target} PRIVATE ${arg_LIBRARIES})
  quarn_finish_test(${target})
endfunction()
