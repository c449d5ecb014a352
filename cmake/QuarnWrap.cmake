# quarn_wrap(<target> <function>...): the linker binds the calls of functions in a program to __wrap_<function>, which its
# sources define; __real_<function> is the one that is replaced.

function(quarn_wrap target)
  foreach(call IN LISTS ARGN)
    target_link_options(${target} PRIVATE "-Wl,--wrap=${call}")
  endforeach()
endfunction()
