#include "lexer/constants.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

#include "base/diagnostics.h"
#include "base/options.h"
#include "runtime/alloc.h"
#include "runtime/textbuf.h"

PoolEntry *constant_pool = nullptr;
const void *constant_section = nullptr;

namespace {

// An index over the pool so that interning does not walk the whole list.
PoolEntry **buckets = nullptr;
std::size_t bucket_count = 0;
std::size_t entry_count = 0;

std::uint32_t hash_bytes(const unsigned char *p, std::size_t n, const void *section)
{
    std::uint32_t h = 2166136261u ^ static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(section));
    for (std::size_t i = 0; i < n; ++i)
        h = (h ^ p[i]) * 16777619u;
    return h ^ static_cast<std::uint32_t>(n);
}

void rehash(std::size_t count)
{
    PoolEntry **fresh = static_cast<PoolEntry **>(allocate(count * sizeof(PoolEntry *)));
    std::memset(fresh, 0, count * sizeof(PoolEntry *));
    for (PoolEntry *e = constant_pool; e; e = e->link) {
        std::size_t b = e->hash & (count - 1);
        e->hash_next = fresh[b];
        fresh[b] = e;
    }
    release(buckets);
    buckets = fresh;
    bucket_count = count;
}

bool digit_of(unsigned char c, int base, std::uint32_t *digit)
{
    std::uint32_t d;
    if (c >= '0' && c <= '9')
        d = c - '0';
    else if ((c | 0x20) >= 'a' && (c | 0x20) <= 'f')
        d = (c | 0x20) - 'a' + 10;
    else
        return false;
    if (d >= static_cast<std::uint32_t>(base))
        return false;
    *digit = d;
    return true;
}

void set_double(Token *token, double value, bool is_float)
{
    if (is_float || single_float)
        token->code = TK_FLOAT_CONST;
    else
        token->code = TK_DOUBLE_CONST;
    token->value = reinterpret_cast<std::uintptr_t>(pool_intern(&value, sizeof value));
}

// 10 to the powers 1, 2, 4, ... 128, then 256 for the rest.
const double decimal_scale[8] = {1e1, 1e2, 1e4, 1e8, 1e16, 1e32, 1e64, 1e128};

double scale_decimal(double m, std::int32_t e)
{
    bool down = e < 0;
    std::uint32_t n = down ? 0u - static_cast<std::uint32_t>(e) : static_cast<std::uint32_t>(e);
    for (int k = 0; k < 8; ++k)
        if (n & (1u << k))
            m = down ? m / decimal_scale[k] : m * decimal_scale[k];
    for (std::uint32_t i = n >> 8; i > 0; --i)
        m = down ? m / 1e256 : m * 1e256;
    return m;
}

double two_to(int k)
{
    double v = 1;
    for (int i = 0; i < k; ++i)
        v *= 2;
    return v;
}

double scale_binary(double m, std::int32_t e)
{
    static double table[9];
    if (table[0] == 0)
        for (int k = 0; k < 9; ++k)
            table[k] = two_to(1 << k);
    bool down = e < 0;
    std::uint32_t n = down ? 0u - static_cast<std::uint32_t>(e) : static_cast<std::uint32_t>(e);
    for (int k = 0; k < 9; ++k)
        if (n & (1u << k))
            m = down ? m / table[k] : m * table[k];
    double big = two_to(512);
    for (std::uint32_t i = n >> 9; i > 0; --i)
        m = down ? m / big : m * big;
    return m;
}

// C lets a real constant be the nearest double or one of its two
// neighbours. Scaling by powers of ten rounds at every step and can land
// further away (1.7976931348623157e308, the largest double, even becomes
// infinity): then the correctly rounded value, which the host's strtod
// gives, is taken instead. A value within one unit is kept as scaled.
double within_one_unit(double scaled, const PpToken *pp)
{
    char text[512];
    std::size_t n = pp->len < sizeof text - 1 ? pp->len : sizeof text - 1;
    std::memcpy(text, pp->text, n);
    text[n] = 0;
    double exact = std::strtod(text, nullptr);
    if (std::isnan(exact) || std::isnan(scaled) || exact == scaled)
        return scaled;
    // Infinity lies next to the largest double in the bit order, but is
    // no neighbour of it.
    if (std::isinf(scaled) != std::isinf(exact))
        return exact;
    std::int64_t a, b;
    std::memcpy(&a, &scaled, sizeof a);
    std::memcpy(&b, &exact, sizeof b);
    // Both are positive: the bit patterns order the values, one unit apart
    // for neighbours.
    std::int64_t units = a > b ? a - b : b - a;
    return units <= 1 ? scaled : exact;
}

// Exponents are read up to a bound far past every limit, so that a long
// run of digits cannot make the scaling loops long.
constexpr std::int32_t EXPONENT_CAP = 100000;

// A decimal (base 10) or hexadecimal (base 16) real: digits, fraction,
// exponent, suffix.
void convert_real(Token *token, const PpToken *pp, const char *p, int base)
{
    const char *end = pp->text + pp->len;
    double m = 0, f = 0, s = 1;
    std::uint32_t d;
    while (p < end && digit_of(static_cast<unsigned char>(*p), base, &d))
        m = m * base + d, ++p;
    if (p < end && *p == '.') {
        ++p;
        while (p < end && digit_of(static_cast<unsigned char>(*p), base, &d))
            f = f * base + d, s = s * base, ++p;
        m = m + f / s;
    }
    char exponent_mark = base == 10 ? 'e' : 'p';
    std::int32_t e = 0;
    if (p < end && (*p | 0x20) == exponent_mark) {
        ++p;
        bool negative = false;
        if (p < end && (*p == '+' || *p == '-'))
            negative = *p++ == '-';
        if (p >= end || *p < '0' || *p > '9')
            report(base == 10 ? "missing exponent in real" : "missing exponent in hexadecimal real");
        while (p < end && *p >= '0' && *p <= '9') {
            if (e < EXPONENT_CAP)
                e = e * 10 + (*p - '0');
            ++p;
        }
        if (e > (base == 10 ? 310 : 713))
            report("exponent overflow in real");
        if (negative)
            e = -e;
    }
    if (e != 0 && m != 0)
        m = base == 10 ? scale_decimal(m, e) : scale_binary(m, e);
    bool is_float = false;
    if (p < end && (*p == 'f' || *p == 'F')) {
        is_float = true;
        ++p;
    } else if (p < end && (*p == 'l' || *p == 'L')) {
        ++p;
    }
    if (p < end)
        report("bad real constant %.*s", static_cast<int>(pp->len), pp->text);
    else
        m = within_one_unit(m, pp);
    set_double(token, m, is_float);
}

void convert_integer(Token *token, const PpToken *pp, const char *p, int base)
{
    const char *end = pp->text + pp->len;
    std::uint32_t v = 0, d;
    bool overflow = false;
    while (p < end && digit_of(static_cast<unsigned char>(*p), base, &d)) {
        switch (base) {
        case 8: overflow |= v > 0x1FFFFFFF; break;
        case 2: overflow |= (v & 0x80000000u) != 0; break;
        case 16: overflow |= v > 0x0FFFFFFF; break;
        default: overflow |= static_cast<std::uint64_t>(v) * 10 + d > 0xFFFFFFFFull; break;
        }
        v = v * static_cast<std::uint32_t>(base) + d;
        ++p;
    }
    if (overflow)
        report("integer constant too large");
    bool is_unsigned = false, is_long = false;
    for (; p < end; ++p) {
        if ((*p == 'u' || *p == 'U') && !is_unsigned)
            is_unsigned = true;
        else if ((*p == 'l' || *p == 'L') && !is_long)
            is_long = true;
        else
            break;
    }
    if (p < end)
        report("bad integer constant ");
    std::uint16_t code;
    if (is_unsigned && is_long)
        code = TK_ULONG_CONST;
    else if (is_unsigned)
        code = v < 65536 ? TK_UINT_CONST : TK_ULONG_CONST;
    else if (is_long)
        code = v < 0x80000000u ? TK_LONG_CONST : TK_ULONG_CONST;
    else if (v <= 32767 || (base == 10 && v == 32768))
        code = TK_INT_CONST;
    else if (base != 10 && v < 65536)
        code = TK_UINT_CONST;
    else if (v <= 0x80000000u)
        code = TK_LONG_CONST;
    else
        code = TK_ULONG_CONST;
    token->code = code;
    token->value = v;
}

bool contains_any(const char *p, std::size_t n, const char *set)
{
    for (std::size_t i = 0; i < n; ++i)
        for (const char *q = set; *q; ++q)
            if (*q == p[i])
                return true;
    return false;
}

}  // namespace

PoolEntry *pool_intern(const void *bytes, std::size_t length)
{
    if (length > POOL_ENTRY_MAX)
        length = POOL_ENTRY_MAX;
    const unsigned char *b = static_cast<const unsigned char *>(bytes);
    std::uint32_t h = hash_bytes(b, length, constant_section);
    if (bucket_count) {
        for (PoolEntry *e = buckets[h & (bucket_count - 1)]; e; e = e->hash_next) {
            if (e->hash == h && e->length == length && e->section == constant_section &&
                !std::memcmp(e->bytes, b, length)) {
                ++e->refs;
                return e;
            }
        }
    }
    PoolEntry *e = static_cast<PoolEntry *>(allocate(sizeof(PoolEntry) + length, constant_pool));
    e->section = constant_section;
    e->refs = 0;
    e->label = 0;
    e->length = static_cast<std::uint16_t>(length);
    e->written[0] = e->written[1] = 0;
    e->hash = h;
    std::memcpy(e->bytes, b, length);
    constant_pool = e;
    if (++entry_count > bucket_count) {
        rehash(bucket_count ? bucket_count * 2 : 256);
    } else {
        std::size_t bucket = h & (bucket_count - 1);
        e->hash_next = buckets[bucket];
        buckets[bucket] = e;
    }
    return e;
}

void pool_release(PoolEntry *entry)
{
    if (entry->refs > 0) {
        --entry->refs;
        return;
    }
    for (PoolEntry **p = &constant_pool; *p; p = &(*p)->link) {
        if (*p == entry) {
            *p = entry->link;
            break;
        }
    }
    for (PoolEntry **p = &buckets[entry->hash & (bucket_count - 1)]; *p; p = &(*p)->hash_next) {
        if (*p == entry) {
            *p = entry->hash_next;
            break;
        }
    }
    --entry_count;
    release(entry);
}

std::uint32_t decode_escape(const char **position, const char *end)
{
    const char *p = *position + 1;  // past the backslash
    std::uint32_t value = 0;
    unsigned char c = p < end ? static_cast<unsigned char>(*p) : 0;
    if (c == 'x' || c == 'X') {
        ++p;
        std::uint32_t d;
        bool any = false, too_large = false;
        while (p < end && digit_of(static_cast<unsigned char>(*p), 16, &d)) {
            value = value * 16 + d;
            too_large |= value > 0x0FFFFFFF;
            any = true;
            ++p;
        }
        if (too_large)
            report("hexadecimal constant too large");
        if (!any)
            report("invalid hexadecimal character");
    } else if (c >= '0' && c <= '7') {
        for (int i = 0; i < 3 && p < end && *p >= '0' && *p <= '7'; ++i)
            value = value * 8 + static_cast<std::uint32_t>(*p++ - '0');
    } else {
        static const char escapes[] = "\"'?\\abfnrtv";
        static const unsigned char values[] = {0x22, 0x27, 0x3F, 0x5C, 0x07, 0x08, 0x0C, 0x0A, 0x0D, 0x09, 0x0B};
        const char *hit = c ? std::strchr(escapes, c) : nullptr;
        if (hit) {
            value = values[hit - escapes];
            ++p;
        } else {
            value = 0x5C;  // the backslash alone; the next character reads as itself
        }
    }
    *position = p;
    return value;
}

void convert_number(Token *token, const PpToken *pp)
{
    const char *s = pp->text;
    std::size_t n = pp->len;
    // The common case first: up to nine decimal digits and nothing else, an
    // int up to 32768 and a long above (the rules of convert_integer).
    if (n <= 9 && (s[0] != '0' || n == 1)) {
        std::uint32_t v = 0;
        std::size_t i = 0;
        for (; i < n; ++i) {
            auto d = static_cast<std::uint32_t>(static_cast<unsigned char>(s[i]) - '0');
            if (d > 9)
                break;
            v = v * 10 + d;
        }
        if (i == n) {
            token->code = v <= 32768 ? TK_INT_CONST : TK_LONG_CONST;
            token->value = v;
            return;
        }
    }
    char second = n >= 2 ? static_cast<char>(s[1] | 0x20) : 0;
    if (s[0] == '0' && second == 'x') {
        if (n < 3) {
            report("invalid hexadecimal number");
            token->code = TK_INT_CONST;
            token->value = 0;
        } else if (c99_mode && contains_any(s, n, ".pP")) {
            convert_real(token, pp, s + 2, 16);
        } else {
            convert_integer(token, pp, s + 2, 16);
        }
    } else if (s[0] == '0' && second == 'b') {
        if (n < 3) {
            report("invalid binary number");
            token->code = TK_INT_CONST;
            token->value = 0;
        } else {
            convert_integer(token, pp, s + 2, 2);
        }
    } else if (contains_any(s, n, ".eE")) {
        convert_real(token, pp, s, 10);
    } else {
        convert_integer(token, pp, s, s[0] == '0' ? 8 : 10);
    }
}

void decode_literal(const PpToken *pp, TextBuffer &out)
{
    out.length = 0;
    append_literal(pp, out);
}

void append_literal(const PpToken *pp, TextBuffer &out)
{
    const char *p = pp->text;
    const char *end = p + pp->len;
    if (p < end && *p == 'L')
        ++p;
    if (p >= end)
        return;
    char quote = *p++;
    // Inside a scanned literal an unescaped quote can only be the last one.
    while (p < end && *p != quote) {
        if (*p == '\\')
            out.append(static_cast<char>(decode_escape(&p, end)));
        else
            out.append(*p++);
    }
}

void convert_char(Token *token, const PpToken *pp)
{
    static TextBuffer bytes;
    decode_literal(pp, bytes);
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < bytes.length; ++i)
        value = (value << 8) + static_cast<unsigned char>(bytes.data[i]);
    if (value < 256 && (value & 0x80) && !plain_char_unsigned)
        value |= 0xFFFFFF00u;
    token->code = TK_INT_CONST;
    token->value = value;
}

void decode_string(Token *token, const PpToken *pp)
{
    // Decoded into a buffer of its own: the spelling stays as written, so
    // that a literal in a macro body reads the same at every use and in a
    // redefinition.
    static TextBuffer bytes;
    decode_literal(pp, bytes);
    token->code = TK_STRING;
    token->value = reinterpret_cast<std::uintptr_t>(pool_intern(bytes.data ? bytes.data : "", bytes.length));
}

void append_string_piece(TextBuffer &joined, const PpToken *pp)
{
    // Past the longest literal the pool holds, pieces are still decoded
    // for their messages, and dropped.
    static TextBuffer dropped;
    if (joined.length > POOL_ENTRY_MAX) {
        decode_literal(pp, dropped);
        return;
    }
    append_literal(pp, joined);
    if (joined.length > POOL_ENTRY_MAX)
        report("string literal too long");
}

void intern_joined_string(Token *token, const TextBuffer &joined)
{
    std::size_t length = joined.length > POOL_ENTRY_MAX ? POOL_ENTRY_MAX : joined.length;
    token->code = TK_STRING;
    token->value = reinterpret_cast<std::uintptr_t>(pool_intern(joined.data ? joined.data : "", length));
}

void constants_reset()
{
    while (constant_pool)
        constant_pool = static_cast<PoolEntry *>(release(constant_pool, constant_pool->link));
    release(buckets);
    buckets = nullptr;
    bucket_count = 0;
    entry_count = 0;
    constant_section = nullptr;
}
