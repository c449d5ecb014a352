# Finds ACE and proves that it can be linked at the word size that is being built. Defines ACE::ACE.
#
# QUARN_ACE_LIBRARY_DIR names a folder outside the system's own that holds libACE.

find_path(ACE_INCLUDE_DIR ace/Recursive_Thread_Mutex.h)
if(QUARN_ACE_LIBRARY_DIR)
  find_library(ACE_LIBRARY NAMES ACE ACE-7.0.8 PATHS "${QUARN_ACE_LIBRARY_DIR}" NO_DEFAULT_PATH)
else()
  find_library(ACE_LIBRARY NAMES ACE ACE-7.0.8)
endif()

if(QUARN_ACE_LIBRARY_DIR AND NOT ACE_LIBRARY)
  set(QUARN_ACE_REASON "there is no libACE in ${QUARN_ACE_LIBRARY_DIR}, which QUARN_ACE_LIBRARY_DIR names")
else()
  set(QUARN_ACE_REASON "install the package libace-dev")
endif()
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(ACE REQUIRED_VARS ACE_LIBRARY ACE_INCLUDE_DIR
  REASON_FAILURE_MESSAGE "${QUARN_ACE_REASON}")

if(ACE_FOUND AND NOT TARGET ACE::ACE)
  find_package(Threads REQUIRED)
  add_library(ACE::ACE UNKNOWN IMPORTED)
  set_target_properties(ACE::ACE PROPERTIES
    IMPORTED_LOCATION "${ACE_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${ACE_INCLUDE_DIR}"
    INTERFACE_LINK_LIBRARIES Threads::Threads)

  # A libACE of the other word size is found as readily as the right one; only linking tells them apart. A failure is
  # tried again by the next configuration, with the libACE that is found then.
  if(NOT QUARN_ACE_LINKS)
    file(WRITE "${CMAKE_CURRENT_BINARY_DIR}/CMakeFiles/ace-links.cpp"
      "#include <ace/Recursive_Thread_Mutex.h>\nint main() { ACE_Recursive_Thread_Mutex mutex; return mutex.acquire(); }\n")
    try_compile(QUARN_ACE_LINKS "${CMAKE_CURRENT_BINARY_DIR}/CMakeFiles/ace-links"
      "${CMAKE_CURRENT_BINARY_DIR}/CMakeFiles/ace-links.cpp"
      LINK_LIBRARIES ACE::ACE OUTPUT_VARIABLE QUARN_ACE_OUTPUT)
    if(NOT QUARN_ACE_LINKS)
      set(QUARN_ACE_FAILED "${ACE_LIBRARY}")
      unset(ACE_LIBRARY CACHE)
      message(FATAL_ERROR "${QUARN_ACE_FAILED} cannot be linked at ${CMAKE_SIZEOF_VOID_P} bytes a pointer. "
        "If it is of another word size, name the folder of the right one in QUARN_ACE_LIBRARY_DIR.\n${QUARN_ACE_OUTPUT}")
    endif()
  endif()
endif()
mark_as_advanced(ACE_INCLUDE_DIR ACE_LIBRARY)
