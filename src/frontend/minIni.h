// A small reader for the settings file: INI sections, keys and values, read-only.
#pragma once

#include <cstdint>
#include <cstdio>

// Looks Key up in the first [Section] of an open file, from the top. Returns 1 and fills Buffer (at most
// BufferSize - 1 characters, terminated) when found, 0 when not.
int IniFindKey(FILE* fp, const char* Section, const char* Key, char* Buffer, int BufferSize);

// The value of Key, or DefValue when the file or the key is missing, cut to BufferSize - 1 characters.
// Returns the length stored; 0 and nothing stored when BufferSize < 1 or Key or Buffer is missing.
int IniGetString(const char* Section, const char* Key, const char* DefValue, char* Buffer, int BufferSize,
                 const char* Filename);

// Decimal, or hexadecimal when the second character is "x"; saturates at the 32-bit limits.
int32_t IniGetLong(const char* Section, const char* Key, int32_t DefValue, const char* Filename);

// 1 for a value starting with 1/Y/y/T/t, 0 for 0/N/n/F/f, DefValue for anything else.
int IniGetBool(const char* Section, const char* Key, int DefValue, const char* Filename);
