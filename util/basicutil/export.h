#pragma once
// Marks what libbasic_util.so shows; everything else is hidden.
#define BASIC_UTIL_EXPORT __attribute__((visibility("default")))
