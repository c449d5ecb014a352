# quarn_warnings(target): the warnings that all code of the project is free of; as errors in its own builds, but not
# where another project has it as a part.

function(quarn_warnings target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wcast-align -Wformat=2 -Wundef
    -Wnon-virtual-dtor -Woverloaded-virtual -Wdouble-promotion -Wnull-dereference)
  if(PROJECT_IS_TOP_LEVEL)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
