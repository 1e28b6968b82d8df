#pragma once
// Marks what libvela_platform.so shows; everything else is hidden.
#define VELA_EXPORT __attribute__((visibility("default")))
