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
  pthread_mutex_init pthread_mutex_lock pthread_mutex_trylock pthread_mutexattr_destroy pthread_mutexattr_init
  pthread_mutexattr_setprotocol pthread_mutexattr_settype rename stat64 unlink)

# The programs in which threads meet: all that the thread sanitizer can have something to say about.
set(QUARN_THREAD_TESTS
  AllocationFeederTest ApplicationTimeTest CQAllocationInfoReportTest CQAllocationInfoTest CQApplicationTimeTest
  CQLogQueueLockTest CQLogQueueThreadsTest CQLoggerFacadeDispatchTest CQUpdateThreadTest ClockLifeTest
  ControlLoopExampleTest ExitTest ForkTest InterpositionTest KillTest LifeCycleTest LoadTest LoggerExamplesTest
  RegistrationLoadTest ThreadsTest ThrottleTest)
option(QUARN_TEST_EVERYTHING "Run the single-threaded tests under the thread sanitizer, too" OFF)

# Test code need not be fast, but there is a lot of it to compile, above all under a sanitizer. The library itself is
# compiled as the build type says. Where branches are counted nothing is to be inlined or merged.
if(QUARN_SANITIZE OR QUARN_COVERAGE)
  set(QUARN_TEST_OPTIMISATION -O0)
else()
  set(QUARN_TEST_OPTIMISATION -O1)
endif()

# Nor is it test code in which undefined behaviour is looked for in the ordinary run, as memory errors are: it would take
# a third of the time.
set(QUARN_TEST_OPTIONS -g1)
if(QUARN_SANITIZE MATCHES "undefined" AND NOT QUARN_TEST_EVERYTHING)
  list(APPEND QUARN_TEST_OPTIONS -fno-sanitize=undefined)
endif()

# Another third goes to the headers of GoogleTest. Under the sanitizers they are compiled once, for programs with the
# same options. The other builds see to it that no source relies on that.
if(QUARN_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  file(WRITE "${CMAKE_CURRENT_BINARY_DIR}/headers.cpp" "")
  add_library(QuarnTestHeaders OBJECT "${CMAKE_CURRENT_BINARY_DIR}/headers.cpp")
  target_link_libraries(QuarnTestHeaders PRIVATE GTest::gmock_main)
  target_compile_options(QuarnTestHeaders PRIVATE ${QUARN_TEST_OPTIMISATION} ${QUARN_TEST_OPTIONS})
  quarn_warnings(QuarnTestHeaders)
  target_precompile_headers(QuarnTestHeaders PRIVATE
    <gmock/gmock.h> <gtest/gtest.h> <filesystem> <fstream> <functional> <string> <thread> <vector>)
  set(QUARN_TEST_HEADERS_OPTIMISATION ${QUARN_TEST_OPTIMISATION})
endif()

function(quarn_finish_test target)
  target_link_libraries(${target} PRIVATE GTest::gmock_main)
  target_include_directories(${target} PRIVATE "${PROJECT_SOURCE_DIR}/tests/support")
  target_compile_options(${target} PRIVATE ${QUARN_TEST_OPTIMISATION} ${QUARN_TEST_OPTIONS})
  quarn_warnings(${target})
  if(TARGET QuarnTestHeaders AND QUARN_TEST_OPTIMISATION STREQUAL QUARN_TEST_HEADERS_OPTIMISATION)
    target_precompile_headers(${target} REUSE_FROM QuarnTestHeaders)
  endif()
  if(QUARN_SANITIZE STREQUAL "thread" AND NOT QUARN_TEST_EVERYTHING AND NOT target IN_LIST QUARN_THREAD_TESTS)
    set_target_properties(${target} PROPERTIES EXCLUDE_FROM_ALL ON)
    return()
  endif()
  gtest_discover_tests(${target} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300)
endfunction()

function(quarn_add_test target)
  cmake_parse_arguments(arg "" "" "SOURCES;LIBRARIES;WRAP" ${ARGN})
  add_executable(${target} ${arg_SOURCES})
  target_link_libraries(${target} PRIVATE QuarnLoggingObjects QuarnTestSupport ${arg_LIBRARIES})
  quarn_wrap(${target} ${QUARN_WRAPPED_CALLS} ${arg_WRAP})
  quarn_finish_test(${target})
endfunction()

function(quarn_add_process_test target)
  cmake_parse_arguments(arg "" "" "SOURCES;LIBRARIES" ${ARGN})
  add_executable(${target} ${arg_SOURCES})
  target_link_libraries(${target} PRIVATE ${arg_LIBRARIES})
  quarn_finish_test(${target})
endfunction()
