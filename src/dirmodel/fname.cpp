// File-name encoding translation through iconv. The lost-character mark is "/": it
// cannot occur inside a name, so every "/" in a converted name was a substitution.
#include "dirmodel/fname.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <iconv.h>
#include <memory>
#include <mutex>

namespace {

constexpr std::size_t kBuf = 1024;
constexpr std::size_t kDecodeMax = 1022;  // the first byte is kept for the "?" mark

struct Codec {
    std::string charset;
    uint64_t generation = 0;
};

std::atomic<uint32_t> sMode{0};
std::mutex sCodecMutex;
std::shared_ptr<const Codec> sCodec;  // gTranslation: null when there is no context
uint64_t sGeneration = 0;

std::shared_ptr<const Codec> current_codec()
{
    std::lock_guard lk(sCodecMutex);
    return sCodec;
}

// One thread's conversion descriptors, reopened when the set changes.
struct ThreadConv {
    uint64_t generation = ~uint64_t{0};
    iconv_t to_utf8 = reinterpret_cast<iconv_t>(-1);
    iconv_t from_utf8 = reinterpret_cast<iconv_t>(-1);
    char decoded[kBuf];
    char encoded[kBuf];

    ~ThreadConv() { close(); }
    void close()
    {
        if (to_utf8 != reinterpret_cast<iconv_t>(-1))
            iconv_close(to_utf8);
        if (from_utf8 != reinterpret_cast<iconv_t>(-1))
            iconv_close(from_utf8);
        to_utf8 = from_utf8 = reinterpret_cast<iconv_t>(-1);
    }
    bool ready(const Codec& c)
    {
        if (generation != c.generation) {
            close();
            to_utf8 = iconv_open("UTF-8", c.charset.c_str());
            from_utf8 = iconv_open(c.charset.c_str(), "UTF-8");
            generation = c.generation;
        }
        return to_utf8 != reinterpret_cast<iconv_t>(-1) && from_utf8 != reinterpret_cast<iconv_t>(-1);
    }
};

thread_local ThreadConv tConv;

bool valid_utf8(const char* s)
{
    const auto* p = reinterpret_cast<const unsigned char*>(s);
    std::size_t n = std::strlen(s);
    for (std::size_t i = 0; i < n;) {
        int k = fname_utf8_seqlen(p + i, n - i);
        if (k < 1)
            return false;
        i += static_cast<std::size_t>(k);
    }
    return true;
}

const char* decode_utf8(const char* name, int* count)
{
    char* out = tConv.decoded;
    std::size_t n = strnlen(name, kDecodeMax);
    std::memcpy(out + 1, name, n);
    out[n + 1] = '\0';
    auto* p = reinterpret_cast<unsigned char*>(out + 1);
    int replaced = 0;
    for (std::size_t i = 0; i < n;) {
        int k = fname_utf8_seqlen(p + i, n - i);
        if (k < 1) {
            p[i++] = '?';
            ++replaced;
        } else {
            i += static_cast<std::size_t>(k);
        }
    }
    if (count)
        *count = replaced;
    if (!replaced)
        return name;
    out[0] = '?';
    return out;
}

const char* decode_alternate(const char* name, int* count)
{
    std::shared_ptr<const Codec> codec = current_codec();
    if (!codec || !tConv.ready(*codec))
        return name;
    iconv_t cd = tConv.to_utf8;
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    char* in = const_cast<char*>(name);
    std::size_t inleft = std::strlen(name);
    char* out = tConv.decoded + 1;
    std::size_t outleft = kDecodeMax;
    bool substituted = false;
    while (inleft > 0) {
        if (iconv(cd, &in, &inleft, &out, &outleft) != static_cast<std::size_t>(-1))
            break;
        if (errno == E2BIG || outleft == 0)
            break;  // the display text is cut, the name itself is not
        // An input byte the set does not define: mark it lost and go on.
        *out++ = '/';
        --outleft;
        ++in;
        --inleft;
        substituted = true;
    }
    *out = '\0';
    char* text = tConv.decoded + 1;
    if (!substituted)
        return text;
    if (!*text)
        return "?";
    int replaced = 0;
    for (char* q = text; *q; ++q) {
        if (*q == '/') {
            *q = '?';
            ++replaced;
        }
    }
    if (count)
        *count = replaced;
    tConv.decoded[0] = '?';
    return tConv.decoded;
}

}  // namespace

int fname_setup(uint32_t options, const char* alt_charset)
{
    sMode.store(options & (FNAME_UTF8_ALTERNATE | FNAME_ALTERNATE), std::memory_order_relaxed);
    std::shared_ptr<const Codec> made;
    int ret = 0;
    if (alt_charset && *alt_charset) {
        iconv_t probe = iconv_open("UTF-8", alt_charset);
        if (probe == reinterpret_cast<iconv_t>(-1)) {
            ret = -1;
        } else {
            iconv_close(probe);
            auto c = std::make_shared<Codec>();
            c->charset = alt_charset;
            std::lock_guard lk(sCodecMutex);
            c->generation = ++sGeneration;
            made = std::move(c);
        }
    }
    std::lock_guard lk(sCodecMutex);
    sCodec = std::move(made);
    return ret;
}

const char* fname_decode(const char* name, int* count)
{
    if (count)
        *count = 0;
    const uint32_t mode = sMode.load(std::memory_order_relaxed);
    if (mode & FNAME_ALTERNATE)
        return decode_alternate(name, count);
    if (mode & FNAME_UTF8_ALTERNATE) {
        if (!*name || valid_utf8(name))
            return name;
        return decode_alternate(name, count);
    }
    return decode_utf8(name, count);
}

const char* fname_encode(const char* text)
{
    if (!(sMode.load(std::memory_order_relaxed) & FNAME_ALTERNATE))
        return text;
    std::shared_ptr<const Codec> codec = current_codec();
    if (!codec)
        return text;
    if (!tConv.ready(*codec))
        return nullptr;
    iconv_t cd = tConv.from_utf8;
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    char* in = const_cast<char*>(text);
    std::size_t inleft = std::strlen(text);
    char* out = tConv.encoded;
    std::size_t outleft = kBuf - 1;
    if (iconv(cd, &in, &inleft, &out, &outleft) == static_cast<std::size_t>(-1))
        return nullptr;
    if (iconv(cd, nullptr, nullptr, &out, &outleft) == static_cast<std::size_t>(-1))
        return nullptr;
    *out = '\0';
    return tConv.encoded;
}

std::vector<std::string> fname_charsets()
{
    static const char* const kSets[] = {
        "ISO-8859-1", "ISO-8859-2", "ISO-8859-5", "ISO-8859-7", "ISO-8859-9", "ISO-8859-15",
        "WINDOWS-1250", "WINDOWS-1251", "WINDOWS-1252", "KOI8-R", "KOI8-U", "CP437", "CP850",
        "SHIFT_JIS", "EUC-JP", "EUC-KR", "GB18030", "BIG5",
    };
    std::vector<std::string> out;
    for (const char* s : kSets) {
        iconv_t cd = iconv_open("UTF-8", s);
        if (cd == reinterpret_cast<iconv_t>(-1))
            continue;
        iconv_close(cd);
        out.emplace_back(s);
    }
    return out;
}

int fname_utf8_seqlen(const unsigned char* p, std::size_t n)
{
    if (n == 0)
        return 0;
    unsigned char c = p[0];
    if (c < 0x80)
        return 1;
    int len;
    uint32_t cp;
    if (c >= 0xC2 && c <= 0xDF) {
        len = 2;
        cp = c & 0x1F;
    } else if (c >= 0xE0 && c <= 0xEF) {
        len = 3;
        cp = c & 0x0F;
    } else if (c >= 0xF0 && c <= 0xF4) {
        len = 4;
        cp = c & 0x07;
    } else {
        return 0;
    }
    if (n < static_cast<std::size_t>(len))
        return 0;
    for (int i = 1; i < len; ++i) {
        if ((p[i] & 0xC0) != 0x80)
            return 0;
        cp = (cp << 6) | (p[i] & 0x3F);
    }
    if ((len == 3 && cp < 0x800) || (len == 4 && (cp < 0x10000 || cp > 0x10FFFF)) ||
        (cp >= 0xD800 && cp <= 0xDFFF))
        return 0;
    return len;
}

std::size_t fname_utf8_cut(const char* s, std::size_t len)
{
    std::size_t i = len, tail = 0;
    while (i > 0 && tail < 3 && (static_cast<unsigned char>(s[i - 1]) & 0xC0) == 0x80) {
        --i;
        ++tail;
    }
    if (i == 0)
        return len;
    const auto lead = static_cast<unsigned char>(s[i - 1]);
    const std::size_t need = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 1;
    return lead >= 0xC0 && need > tail + 1 ? i - 1 : len;
}

const char* fname_merge_edit(const std::string& old_name, const std::string& shown,
                             const std::string& typed)
{
    thread_local std::string merged;
    if (typed == shown) {
        merged = old_name;
        return merged.c_str();
    }
    // Only the plain UTF-8 display keeps the name's bytes in place: the mark "?" in
    // front, then one byte shown for every byte of the name.
    const bool aligned = !(sMode.load(std::memory_order_relaxed) & FNAME_ALTERNATE) &&
                         shown.size() == old_name.size() + 1 && shown != old_name;
    // The result is always copied into our own buffer: fname_encode may hand back its
    // argument, and callers pass temporaries.
    if (!aligned) {
        const char* bytes = fname_encode(typed.c_str());
        if (!bytes)
            return nullptr;
        merged = bytes;
        return merged.c_str();
    }
    const auto cont = [](const std::string& s, std::size_t i) {
        return i < s.size() && (static_cast<unsigned char>(s[i]) & 0xC0) == 0x80;
    };
    std::size_t pre = 0;
    const std::size_t limit = std::min(shown.size(), typed.size());
    while (pre < limit && shown[pre] == typed[pre])
        ++pre;
    while (pre > 0 && (cont(shown, pre) || cont(typed, pre)))
        --pre;
    std::size_t suf = 0;
    while (suf < limit - pre && shown[shown.size() - 1 - suf] == typed[typed.size() - 1 - suf])
        ++suf;
    while (suf > 0 && (cont(shown, shown.size() - suf) || cont(typed, typed.size() - suf)))
        --suf;
    const std::string typed_middle = typed.substr(pre, typed.size() - pre - suf);
    const char* middle = fname_encode(typed_middle.c_str());
    if (!middle)
        return nullptr;
    // Shown position p stands for name byte p - 1; the mark stands for none.
    const std::size_t head = pre > 0 ? pre - 1 : 0;
    const std::size_t tail = std::min(suf, old_name.size() - head);
    merged = old_name.substr(0, head) + middle + old_name.substr(old_name.size() - tail);
    return merged.c_str();
}
