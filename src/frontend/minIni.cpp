#include "frontend/minIni.h"

#include <climits>
#include <cstdlib>
#include <cstring>

namespace {

constexpr int INI_LINE = 512;

// Bytes are compared as signed chars, so everything from 128 up counts as blank along with controls.
bool IsBlank(char c) { return static_cast<signed char>(c) <= ' '; }

char* SkipLeading(char* s) {
    while (*s != '\0' && IsBlank(*s)) ++s;
    return s;
}

// Length of [s, s + len) once trailing blanks are dropped.
size_t TrimTrailing(const char* s, size_t len) {
    while (len > 0 && IsBlank(s[len - 1])) --len;
    return len;
}

char LowerAscii(char c) { return (c >= 'A' && c <= 'Z') ? char(c - 'A' + 'a') : c; }

bool SameName(const char* text, size_t len, const char* name) {
    if (std::strlen(name) != len) return false;
    for (size_t i = 0; i < len; ++i)
        if (LowerAscii(text[i]) != LowerAscii(name[i])) return false;
    return true;
}

// Ends the value at the first ";" or "#" outside double quotes. A doubled quote and a backslash-quote
// stand for a literal quote, so they never toggle the quoting.
size_t ValueLength(const char* v) {
    bool quoted = false;
    size_t i = 0;
    for (; v[i] != '\0'; ++i) {
        char c = v[i];
        if (c == '"') {
            if (v[i + 1] == '"') { ++i; continue; }
            quoted = !quoted;
        } else if (c == '\\' && v[i + 1] == '"') {
            ++i;
        } else if (!quoted && (c == ';' || c == '#')) {
            break;
        }
    }
    return TrimTrailing(v, i);
}

void CopyValue(const char* v, size_t len, char* Buffer, int BufferSize) {
    size_t room = size_t(BufferSize) - 1;
    size_t out = 0;
    if (len >= 2 && v[0] == '"' && v[len - 1] == '"') {
        for (size_t i = 1; i + 1 < len && out < room; ++i) {
            bool pair = (v[i] == '\\' || v[i] == '"') && v[i + 1] == '"' && i + 2 < len;
            Buffer[out++] = pair ? '"' : v[i];
            if (pair) ++i;
        }
    } else {
        for (size_t i = 0; i < len && out < room; ++i) Buffer[out++] = v[i];
    }
    Buffer[out] = '\0';
}

bool FindSection(FILE* fp, const char* Section, char* line) {
    while (std::fgets(line, INI_LINE, fp)) {
        char* s = SkipLeading(line);
        if (*s != '[') continue;
        char* close = std::strchr(s + 1, ']');
        if (close && SameName(s + 1, size_t(close - s - 1), Section)) return true;
    }
    return false;
}

}  // namespace

int IniFindKey(FILE* fp, const char* Section, const char* Key, char* Buffer, int BufferSize) {
    if (!fp || !Key || !Buffer || BufferSize < 1) return 0;
    char line[INI_LINE];
    std::rewind(fp);
    // Keys before the first header belong to the unnamed section.
    if (Section && *Section && !FindSection(fp, Section, line)) return 0;

    while (std::fgets(line, INI_LINE, fp)) {
        char* s = SkipLeading(line);
        if (*s == '[') return 0;
        if (*s == ';' || *s == '#') continue;
        char* sep = std::strchr(s, '=');
        if (!sep) sep = std::strchr(s, ':');
        if (!sep) continue;
        if (!SameName(s, TrimTrailing(s, size_t(sep - s)), Key)) continue;

        char* v = SkipLeading(sep + 1);
        size_t len = (*v == ';' || *v == '#') ? 0 : ValueLength(v);
        CopyValue(v, len, Buffer, BufferSize);
        return 1;
    }
    return 0;
}

int IniGetString(const char* Section, const char* Key, const char* DefValue, char* Buffer, int BufferSize,
                 const char* Filename) {
    if (!Key || !Buffer || BufferSize < 1) return 0;
    FILE* fp = Filename ? std::fopen(Filename, "rb") : nullptr;
    int found = 0;
    if (fp) {
        found = IniFindKey(fp, Section, Key, Buffer, BufferSize);
        std::fclose(fp);
    }
    if (!found) {
        const char* def = DefValue ? DefValue : "";
        size_t n = std::strlen(def);
        if (n > size_t(BufferSize) - 1) n = size_t(BufferSize) - 1;
        std::memcpy(Buffer, def, n);
        Buffer[n] = '\0';
    }
    return int(std::strlen(Buffer));
}

int32_t IniGetLong(const char* Section, const char* Key, int32_t DefValue, const char* Filename) {
    char text[64];
    if (IniGetString(Section, Key, "", text, sizeof text, Filename) == 0) return DefValue;
    int base = (text[1] == 'x' || text[1] == 'X') ? 16 : 10;
    long long v = std::strtoll(text, nullptr, base);
    if (v > INT32_MAX) return INT32_MAX;
    if (v < INT32_MIN) return INT32_MIN;
    return int32_t(v);
}

int IniGetBool(const char* Section, const char* Key, int DefValue, const char* Filename) {
    char text[2];
    IniGetString(Section, Key, "", text, sizeof text, Filename);
    switch (text[0]) {
        case '1': case 'Y': case 'y': case 'T': case 't': return 1;
        case '0': case 'N': case 'n': case 'F': case 'f': return 0;
        default: return DefValue;
    }
}
