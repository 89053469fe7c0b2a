// Symbol visibility for the public API. The library is built with hidden visibility; only
// what is marked VX_API is exported from libvandrel.so.
#ifndef VANDREL_EXPORT_H
#define VANDREL_EXPORT_H

#if defined(__GNUC__)
#define VX_API __attribute__((visibility("default")))
#else
#define VX_API
#endif

#ifdef __cplusplus
#define VX_EXTERN_C extern "C"
#else
#define VX_EXTERN_C
#endif

#endif
