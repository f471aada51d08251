#pragma once

/// Marks what hosts may call of this layer; everything else is hidden.
#if defined(_WIN32)
#define KELCORE_EXPORT
#else
#define KELCORE_EXPORT __attribute__((visibility("default")))
#endif

/// Marks a type that stands as an argument in exported instances of templates. Clang hides those together
/// with their arguments; g++ does not. Of the type itself nothing leaves.
#if defined(__clang__)
#define KELCORE_VISIBLE_TYPE __attribute__((type_visibility("default")))
#else
#define KELCORE_VISIBLE_TYPE
#endif
