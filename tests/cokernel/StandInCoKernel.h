#ifndef QUARN_LOGGING_TESTS_STAND_IN_CO_KERNEL_H
#define QUARN_LOGGING_TESTS_STAND_IN_CO_KERNEL_H

// Found in the library if the compile flags of the config program arrived.
[[gnu::used]] static const char STAND_IN_MARK[] = "compiled for the stand-in co-kernel";

#endif
