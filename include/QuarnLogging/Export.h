#ifndef QUARN_LOGGING_EXPORT_H
#define QUARN_LOGGING_EXPORT_H

/// Marks what the library exports; everything else in it is hidden. Default, never protected visibility: a program
/// that defines an exported name itself is called in the library's place.
#define QUARN_LOGGING_API __attribute__((visibility("default")))

#endif
