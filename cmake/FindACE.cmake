# Finds ACE and proves that it can be linked at the word size that is being built. Defines ACE::ACE.
#
# QUARN_ACE_LIBRARY_DIR names a folder outside the system's own that holds libACE.

find_path(ACE_INCLUDE_DIR ace/Recursive_Thread_Mutex.h)
if(QUARN_ACE_LIBRARY_DIR)
  find_library(ACE_LIBRARY NAMES ACE ACE-7.0.8 PATHS "${QUARN_ACE_LIBRARY_DIR}" NO_DEFAULT_PATH)
else()
  find_library(ACE_LIBRARY NAMES ACE ACE-7.0.8)
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(ACE REQUIRED_VARS ACE_LIBRARY ACE_INCLUDE_DIR
  REASON_FAILURE_MESSAGE "install libace-dev, or name the folder of libACE in QUARN_ACE_LIBRARY_DIR")

if(ACE_FOUND AND NOT TARGET ACE::ACE)
  find_package(Threads REQUIRED)
  add_library(ACE::ACE UNKNOWN IMPORTED)
  set_target_properties(ACE::ACE PROPERTIES
    IMPORTED_LOCATION "${ACE_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${ACE_INCLUDE_DIR}"
    INTERFACE_LINK_LIBRARIES Threads::Threads)

  # A libACE of the other word size is found as readily as the right one; only linking tells them apart.
  include(CheckCXXSourceCompiles)
  set(CMAKE_REQUIRED_LIBRARIES ACE::ACE)
  check_cxx_source_compiles(
    "#include <ace/Recursive_Thread_Mutex.h>\nint main() { ACE_Recursive_Thread_Mutex mutex; return mutex.acquire(); }"
    QUARN_ACE_LINKS)
  unset(CMAKE_REQUIRED_LIBRARIES)
  if(NOT QUARN_ACE_LINKS)
    message(FATAL_ERROR "${ACE_LIBRARY} cannot be linked at ${CMAKE_SIZEOF_VOID_P} bytes a pointer. "
      "Name the folder of the right one in QUARN_ACE_LIBRARY_DIR, for i386 run scripts/i386-sysroot first.")
  endif()
endif()
mark_as_advanced(ACE_INCLUDE_DIR ACE_LIBRARY)
