#pragma once

/// Marks exported names. Everything else is hidden, including the private parts of exported classes. On
/// Windows, a host of the static library defines KELAUDIOFILE_STATIC, as the CMake package does for it.
#if !defined(_WIN32)
#define KELAUDIOFILE_EXPORT __attribute__((visibility("default")))
#define KELAUDIOFILE_HIDDEN __attribute__((visibility("hidden")))
#else
#define KELAUDIOFILE_HIDDEN
#if defined(KELAUDIOFILE_STATIC)
#define KELAUDIOFILE_EXPORT
#elif defined(KELAUDIOFILE_BUILDING)
#define KELAUDIOFILE_EXPORT __declspec(dllexport)
#else
#define KELAUDIOFILE_EXPORT __declspec(dllimport)
#endif
#endif

/// Marks templates of which the library exports instances. On Windows it exports none: hosts make their own.
#if defined(_WIN32)
#define KELAUDIOFILE_INSTANCES
#else
#define KELAUDIOFILE_INSTANCES KELAUDIOFILE_EXPORT
#endif

/// For types used as template arguments of exported instances: clang would otherwise hide those instances.
/// Exports no symbol of the type.
#if defined(__clang__)
#define KELAUDIOFILE_VISIBLE_TYPE __attribute__((type_visibility("default")))
#else
#define KELAUDIOFILE_VISIBLE_TYPE
#endif

/// Uncompressed audio files: wave and AIFF in and out, sample conversion, peak timelines, hashes, ID3 probes.
///
/// Offsets and counts of sample data are bytes unless a name says frames; a frame is one sample of every
/// channel. A chunk's id is a number whose lowest byte is the first character on disk. Paths are byte strings
/// that reach the system as they are.
///
/// Nothing here locks: an object belongs to one thread at a time, separate objects on one file are
/// independent, and the conversion routines may run on any thread.
namespace kelaudiofile {}
