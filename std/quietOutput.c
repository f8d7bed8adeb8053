/*
 * The lines that the library prints about connections. A program's standard output isn't theirs to write to, and the
 * linker puts these functions in the place of the C library's for the units of this shared library alone. In a build
 * for diagnostics they reach standard error, with the reports of leaks.
 */
#include <stdarg.h>
#include <stdio.h>

#if defined(__GNUC__)
#define PRINTS_LIKE(function, arguments) __attribute__((format(printf, function, arguments)))
#else
#define PRINTS_LIKE(function, arguments)
#endif

int __real_fflush(FILE* stream);
int __real_vfprintf(FILE* stream, const char* format, va_list arguments) PRINTS_LIKE(2, 0);
int __wrap_fflush(FILE* stream);
int __wrap_printf(const char* format, ...) PRINTS_LIKE(1, 2);
int __wrap_putchar(int character);
int __wrap_puts(const char* text);
int __wrap_vfprintf(FILE* stream, const char* format, va_list arguments) PRINTS_LIKE(2, 0);
int __wrap_vprintf(const char* format, va_list arguments) PRINTS_LIKE(1, 0);

int __wrap_vfprintf(FILE* stream, const char* format, va_list arguments) {
#if defined(QVVISA_DIAGNOSTICS)
  return __real_vfprintf(stream == stdout ? stderr : stream, format, arguments);
#else
  return stream == stdout ? 0 : __real_vfprintf(stream, format, arguments);
#endif
}

/* Optimised, the C library's header makes the one above of it. */
int __wrap_vprintf(const char* format, va_list arguments) {
  return __wrap_vfprintf(stdout, format, arguments);
}

int __wrap_printf(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int length = __wrap_vfprintf(stdout, format, arguments);
  va_end(arguments);
  return length;
}

int __wrap_puts(const char* text) {
  return __wrap_printf("%s\n", text);
}

int __wrap_putchar(int character) {
  __wrap_printf("%c", character);
  return character;
}

/* What the program has in its buffer stays there. */
int __wrap_fflush(FILE* stream) {
  return stream == stdout ? 0 : __real_fflush(stream);
}
