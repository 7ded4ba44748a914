/// How the compiler checks the arguments of functions like printf.
#pragma once

// The conversions are those of C99 on Windows, too: MinGW's own functions serve them, not the system's.
#ifdef __MINGW32__
#define CALI_PRINTF_FORMAT gnu_printf
#else
#define CALI_PRINTF_FORMAT printf
#endif
