/// Marks a declaration as part of the shared library's visible names. Everything else stays inside it.
#pragma once

#if !defined(_WIN32)
#define QVVISA_API __attribute__((visibility("default")))
#elif defined(QVVISA_BUILDING)
#define QVVISA_API __declspec(dllexport)
#else
#define QVVISA_API __declspec(dllimport)
#endif
