/* How the libraries' functions and tables are reached on each system. ORV_CALL is the calling convention of every
 * function and callback, whatever a compiler's default is; ORV_DATA declares a table of the kernel library. The
 * library's own sources define ORV_INSIDE. */
#ifndef ORV_PLATFORM_H
#define ORV_PLATFORM_H

#ifdef _WIN32
#  define ORV_CALL __cdecl
#else
#  define ORV_CALL
#endif

#if defined(_WIN32) && !defined(ORV_INSIDE)
#  define ORV_DATA extern __declspec(dllimport)
#else
#  define ORV_DATA extern
#endif

#endif
