// Marks what leaves the cmskit64 module.
#ifndef CMSKIT_EXPORT_H
#define CMSKIT_EXPORT_H

#if defined(_WIN32)
#if defined(CMSKIT_BUILDING)
#define CMSKIT_API __declspec(dllexport)
#elif defined(CMSKIT_STATIC_LINK)
#define CMSKIT_API
#else
#define CMSKIT_API __declspec(dllimport)
#endif
#else
#define CMSKIT_API __attribute__((visibility("default")))
#endif

#endif
