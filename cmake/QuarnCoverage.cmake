# QUARN_COVERAGE: count the lines and branches that are executed, for scripts/coverage. Threads count, too, so atomically.

option(QUARN_COVERAGE "Count executed lines and branches (gcc)" OFF)
if(QUARN_COVERAGE)
  add_compile_options(--coverage -fprofile-update=atomic -fprofile-abs-path)
  add_link_options(--coverage)
endif()
