#pragma once

/// Marks what hosts may call of this layer; everything else is hidden. It leaves with the library that it is
/// part of.
#if !defined(_WIN32)
#define KELCORE_EXPORT __attribute__((visibility("default")))
#elif defined(KELAUDIOFILE_STATIC)
#define KELCORE_EXPORT
#elif defined(KELAUDIOFILE_BUILDING)
#define KELCORE_EXPORT __declspec(dllexport)
#else
#define KELCORE_EXPORT __declspec(dllimport)
#endif

/// For types used as template arguments of exported instances: clang would otherwise hide those instances.
/// Exports no symbol of the type.
#if defined(__clang__)
#define KELCORE_VISIBLE_TYPE __attribute__((type_visibility("default")))
#else
#define KELCORE_VISIBLE_TYPE
#endif
