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

# Test code need not be fast, but there is a lot of it to compile. The library itself is compiled as the build type says.
# Where branches are counted nothing is to be inlined or merged.
set(QUARN_TEST_OPTIMISATION -O0)

# A debugger has the preset "debug". The sanitizers tell the lines of what they find. Undefined behaviour is not looked
# for in test code in the ordinary run, as memory errors are: it would take a third of the time.
set(QUARN_TEST_OPTIONS -g0)
if(CMAKE_BUILD_TYPE STREQUAL "Debug")
  set(QUARN_TEST_OPTIONS -g)
elseif(QUARN_SANITIZE)
  set(QUARN_TEST_OPTIONS -g1)
endif()
if(QUARN_SANITIZE MATCHES "undefined" AND NOT QUARN_TEST_EVERYTHING)
  list(APPEND QUARN_TEST_OPTIONS -fno-sanitize=undefined)
endif()

# quarn_compile_as_test(<target>): what runs in a test, or is started by one, is compiled like that.
function(quarn_compile_as_test target)
  target_compile_options(${target} PRIVATE ${QUARN_TEST_OPTIMISATION} ${QUARN_TEST_OPTIONS})
  quarn_warnings(${target})
endfunction()

# Another third goes to the headers of GoogleTest and of the standard library. They are compiled once for each
# optimisation. clang's builds do without, and see to it that no source relies on that.
#
# quarn_reuse_headers(<target>): gives the headers, compiled as the folder's QUARN_TEST_OPTIMISATION says, to a target.
function(quarn_reuse_headers target)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    return()
  endif()
  set(headers "QuarnTestHeaders${QUARN_TEST_OPTIMISATION}")
  if(NOT TARGET ${headers})
    file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/tests/headers.cpp" CONTENT "" @ONLY)
    add_library(${headers} OBJECT "${PROJECT_BINARY_DIR}/tests/headers.cpp")
    target_link_libraries(${headers} PRIVATE GTest::gmock_main)
    quarn_compile_as_test(${headers})
    target_precompile_headers(${headers} PRIVATE
      <gmock/gmock.h> <gtest/gtest.h> <filesystem> <fstream> <functional> <string> <thread> <vector>)
  endif()
  target_precompile_headers(${target} REUSE_FROM ${headers})
endfunction()

# A program for each source is a program to link for each source, which gold, a part of binutils, does in a quarter of
# the time. The library is linked as ever.
find_program(QUARN_LD_GOLD ld.gold)
if(QUARN_LD_GOLD AND NOT QUARN_SANITIZE)
  set(QUARN_TEST_LINKER -fuse-ld=gold)
endif()

# quarn_add_test_program(<target> <source>...): a source of another folder, which several programs have, is compiled once
# for all of them, and optimised; it sees the library's headers.
function(quarn_add_test_program target)
  if(NOT QUARN_COVERAGE)
    set(QUARN_TEST_OPTIMISATION -O1)
  endif()
  add_executable(${target})
  foreach(source IN LISTS ARGN)
    if(NOT source MATCHES "^\\.\\./")
      target_sources(${target} PRIVATE ${source})
      continue()
    endif()
    get_filename_component(name "${source}" NAME_WE)
    set(shared "QuarnTest${name}")
    if(NOT TARGET ${shared})
      add_library(${shared} OBJECT "${CMAKE_CURRENT_SOURCE_DIR}/${source}")
      target_include_directories(${shared} PRIVATE "${PROJECT_SOURCE_DIR}/tests/support"
        $<TARGET_PROPERTY:QuarnLoggingObjects,INTERFACE_INCLUDE_DIRECTORIES>)
      target_compile_definitions(${shared} PRIVATE
        $<TARGET_PROPERTY:QuarnLoggingObjects,INTERFACE_COMPILE_DEFINITIONS>)
      quarn_compile_as_test(${shared})
    endif()
    target_sources(${target} PRIVATE $<TARGET_OBJECTS:${shared}>)
  endforeach()
endfunction()

function(quarn_finish_test target)
  target_link_libraries(${target} PRIVATE GTest::gmock_main)
  target_include_directories(${target} PRIVATE "${PROJECT_SOURCE_DIR}/tests/support")
  quarn_compile_as_test(${target})
  quarn_reuse_headers(${target})
  target_link_options(${target} PRIVATE ${QUARN_TEST_LINKER})
  if(QUARN_SANITIZE STREQUAL "thread" AND NOT QUARN_TEST_EVERYTHING AND NOT target IN_LIST QUARN_THREAD_TESTS)
    set_target_properties(${target} PROPERTIES EXCLUDE_FROM_ALL ON)
    return()
  endif()
  gtest_discover_tests(${target} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300)
endfunction()

function(quarn_add_test target)
  cmake_parse_arguments(arg "" "" "SOURCES;LIBRARIES;WRAP" ${ARGN})
  quarn_add_test_program(${target} ${arg_SOURCES})
  target_link_libraries(${target} PRIVATE QuarnLoggingObjects QuarnTestSupport ${arg_LIBRARIES})
  quarn_wrap(${target} ${QUARN_WRAPPED_CALLS} ${arg_WRAP})
  quarn_finish_test(${target})
endfunction()

function(quarn_add_process_test target)
  cmake_parse_arguments(arg "" "" "SOURCES;LIBRARIES" ${ARGN})
  quarn_add_test_program(${target} ${arg_SOURCES})
  target_link_libraries(${target} PRIVATE ${arg_LIBRARIES})
  quarn_finish_test(${target})
endfunction()
