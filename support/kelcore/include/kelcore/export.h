#pragma once

/// Marks what hosts may call in this layer; everything else is hidden.
#if defined(_WIN32)
#define KELCORE_EXPORT
#else
#define KELCORE_EXPORT __attribute__((visibility("default")))
#endif

/// For types used as template arguments of exported instances: clang would otherwise hide those instances.
/// Exports no symbol of the type.
#if defined(__clang__)
#define KELCORE_VISIBLE_TYPE __attribute__((type_visibility("default")))
#else
#define KELCORE_VISIBLE_TYPE
#endif
