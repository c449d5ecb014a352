# quarn_warnings(target): the warnings that all code of the project is free of, as errors.

function(quarn_warnings target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wcast-align -Wformat=2 -Wundef
    -Wnon-virtual-dtor -Woverloaded-virtual -Wdouble-promotion -Wnull-dereference -Werror)
endfunction()
