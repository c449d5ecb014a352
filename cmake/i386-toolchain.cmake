# 32-bit x86 on an x86-64 Debian: the multilib compiler, and ACE for i386 from the folder that scripts/i386-sysroot fills
# (the ACE development package cannot be installed for two architectures at once).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_CROSSCOMPILING_EMULATOR "") # an x86-64 kernel runs the programs itself

set(CMAKE_CXX_FLAGS_INIT "-m32 -march=i686")
set(CMAKE_LIBRARY_ARCHITECTURE i386-linux-gnu)
list(APPEND CMAKE_IGNORE_PREFIX_PATH /usr/lib/x86_64-linux-gnu)
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/i386-linux-gnu/pkgconfig:/usr/share/pkgconfig)

set(QUARN_ACE_LIBRARY_DIR "${CMAKE_CURRENT_LIST_DIR}/../.i386-sysroot/usr/lib/i386-linux-gnu" CACHE PATH
    "Folder of libACE for i386")
# Before anything else is missed that comes with it, as the 32-bit C library.
get_property(QUARN_IS_TRIAL GLOBAL PROPERTY IN_TRY_COMPILE)
if(NOT QUARN_IS_TRIAL AND NOT EXISTS "${QUARN_ACE_LIBRARY_DIR}")
  message(FATAL_ERROR "There is no ${QUARN_ACE_LIBRARY_DIR}: run scripts/i386-sysroot, which installs what i386 needs.")
endif()
