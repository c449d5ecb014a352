# QUARN_TIME64: times of 64 bits in a 32-bit library, for machines that run beyond January 2038. Where pointers have 64
# bits times have them anyway, and the option changes nothing.
#
# It stands for all that this project builds. Programs that use the library may have times of either width: nothing that
# is exported has one, and the record in tests/abi is the same for both. Nor does one pass between the library and
# libACE, which was built with times of 32 bits. No call that the library makes takes or returns one; two that do, put()
# and handle_timeout() of the update thread's task, stand in its table of virtual functions, where nobody calls them.
# And no class of ACE's that the library makes or derives from holds one. tests/abi checks both. Directory entries do
# pass: their layout goes by the width of file sizes, which is 64 bits in libACE too.

option(QUARN_TIME64 "Times of 64 bits in a 32-bit build" OFF)

set(QUARN_TIME64_DEFINITIONS "")
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  set(QUARN_TIME64_DEFINITIONS _TIME_BITS=64 _FILE_OFFSET_BITS=64) # the C library has the first with the second only
endif()
if(QUARN_TIME64)
  add_compile_definitions(${QUARN_TIME64_DEFINITIONS})
  # The calls that take times have names of their own then, which the flags of a co-kernel do not name. And with the
  # names alone nothing would be gained: its functions take times of 32 bits.
  if(QUARN_TIME64_DEFINITIONS AND QUARN_COKERNEL_CONFIG)
    message(FATAL_ERROR "QUARN_TIME64 and QUARN_COKERNEL_CONFIG exclude each other in a 32-bit build: the clock and "
      "sleep calls that a co-kernel serves have times of 32 bits, and those of 64 bits would go to the C library.")
  endif()
endif()
