# quarn_wrap(<target> <function>...): the linker binds the calls of functions in a program to __wrap_<function>, which its
# sources define; __real_<function> is the one that is replaced.

# The C library's headers give some functions other symbols in a build with times of 64 bits. The sources keep the names.
set(QUARN_OTHER_SYMBOLS "")
if(QUARN_TIME64 AND QUARN_TIME64_DEFINITIONS)
  set(QUARN_OTHER_SYMBOLS
    clock_gettime=__clock_gettime64 clock_settime=__clock_settime64 mmap=mmap64 nanosleep=__nanosleep64
    ntp_adjtime=___adjtimex64 open=open64 stat64=__stat64_time64)
endif()

function(quarn_wrap target)
  foreach(call IN LISTS ARGN)
    set(symbol ${call})
    foreach(pair IN LISTS QUARN_OTHER_SYMBOLS)
      if(pair MATCHES "^${call}=(.*)$")
        set(symbol ${CMAKE_MATCH_1})
        target_compile_definitions(${target} PRIVATE __wrap_${call}=__wrap_${symbol} __real_${call}=__real_${symbol})
      endif()
    endforeach()
    target_link_options(${target} PRIVATE "-Wl,--wrap=${symbol}")
  endforeach()
endfunction()
