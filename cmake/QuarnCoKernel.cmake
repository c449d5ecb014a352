# QUARN_COKERNEL_CONFIG: the config program of a real-time co-kernel, to build the library that is deployed beside it.
#
# The program is asked, with --skin=posix, for --cflags and --ldflags: what makes the linker bind the platform calls of
# the library (-Wl,--wrap=...) to the co-kernel's POSIX interface. Options of its own follow it after semicolons, for
# instance one that keeps a shared library from starting the co-kernel for the program.
#
# QUARN_LOCK_TRIES: how often a lock is tried before a thread waits for it; see src/LockGuard.h.

set(QUARN_COKERNEL_CONFIG "" CACHE STRING "Config program of the co-kernel that serves the library's platform calls")

if(QUARN_COKERNEL_CONFIG)
  set(QUARN_DEFAULT_LOCK_TRIES 0)
else()
  set(QUARN_DEFAULT_LOCK_TRIES 50)
endif()
set(QUARN_LOCK_TRIES ${QUARN_DEFAULT_LOCK_TRIES} CACHE STRING "Tries of a lock before a thread waits for it")

function(quarn_ask_cokernel question variable)
  execute_process(COMMAND ${QUARN_COKERNEL_CONFIG} --skin=posix "${question}"
    OUTPUT_VARIABLE answer OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "QUARN_COKERNEL_CONFIG: ${QUARN_COKERNEL_CONFIG} --skin=posix ${question} ended with ${result}")
  endif()
  set(${variable} "${answer}" PARENT_SCOPE)
endfunction()

# quarn_bind_to_cokernel(<library> <objects>): the flags for a shared library and for the objects that it is made of.
function(quarn_bind_to_cokernel library objects)
  if(NOT QUARN_COKERNEL_CONFIG)
    return()
  endif()
  quarn_ask_cokernel(--cflags cflags)
  quarn_ask_cokernel(--ldflags ldflags)
  # Its headers are not ours to keep free of warnings.
  string(REGEX REPLACE "(^| )-I *" "\\1-isystem " cflags "${cflags}")
  separate_arguments(ldflags UNIX_COMMAND "${ldflags}")
  list(TRANSFORM ldflags REPLACE " " "\\\\ ") # of a path: what begins with "-" goes to the shell as it stands
  target_compile_options(${objects} PRIVATE "SHELL:${cflags}")
  target_link_libraries(${library} PRIVATE ${ldflags}) # as libraries: behind the objects, in the order given
  message(STATUS "Platform calls bound to the co-kernel of: ${QUARN_COKERNEL_CONFIG}")
endfunction()
