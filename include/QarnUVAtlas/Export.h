#pragma once

// Only symbols marked ORVO_API leave libQarnUVAtlas.so; everything else is
// compiled with hidden visibility so the library's internals stay private.
#if defined(_WIN32)
#  if defined(QARN_BUILDING_LIBRARY)
#    define ORVO_API __declspec(dllexport)
#  else
#    define ORVO_API __declspec(dllimport)
#  endif
#else
#  define ORVO_API __attribute__((visibility("default")))
#endif
