# QUARN_SANITIZE: the sanitizers for all code of the project, as -fsanitize takes them; set by the presets.

set(QUARN_SANITIZE "" CACHE STRING "Sanitizers, e.g. address,undefined or thread")
if(QUARN_SANITIZE)
  add_compile_options(-fsanitize=${QUARN_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${QUARN_SANITIZE})
endif()
