#ifndef CONTROL_LOOP_LOG_H
#define CONTROL_LOOP_LOG_H

#include <QuarnLogging/Log.h>

/// The topics, each with a threshold of its own in the options string: "o4D" makes CATEGORY_BUS verbose. The numbers
/// are part of the program's interface, so they stand here and are not left to the compiler. An application has one
/// such header.
enum ECategory : int { CATEGORY_MACHINE = 1, CATEGORY_CONTROL = 2, CATEGORY_THERMAL = 3, CATEGORY_BUS = 4 };

#endif
