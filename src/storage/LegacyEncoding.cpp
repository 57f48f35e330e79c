// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/LegacyEncoding.h"

#include <algorithm>
#include <array>
#include <memory>
#include <new>
#include <utility>

#include <unicode/ucnv.h>
#include <unicode/ucnv_cb.h>
#include <unicode/ucsdet.h>

namespace penmark {

namespace {

struct Known {
    LegacyEncoding encoding;
    const char* converter;  ///< its name in ICU
};

// Where a later encoding only adds characters to an earlier one, the later one is offered under the name that people
// know: files in EUC-KR are windows-949, those in Big5 windows-950, and those in Shift_JIS windows-31j.
constexpr std::array knownEncodings{
    Known{{"windows-1252", "Windows-1252", "Western European"}, "windows-1252"},
    Known{{"iso-8859-1", "ISO 8859-1", "Western European"}, "ISO-8859-1"},
    Known{{"iso-8859-15", "ISO 8859-15", "Western European"}, "ISO-8859-15"},
    Known{{"macintosh", "Mac Roman", "Western European"}, "macintosh"},
    Known{{"ibm437", "IBM 437 (DOS, United States)", "Western European"}, "IBM437"},
    Known{{"ibm850", "IBM 850 (DOS)", "Western European"}, "IBM850"},
    Known{{"ibm858", "IBM 858 (DOS, with the euro)", "Western European"}, "IBM00858"},
    Known{{"windows-1250", "Windows-1250", "Central European"}, "windows-1250"},
    Known{{"iso-8859-2", "ISO 8859-2", "Central European"}, "ISO-8859-2"},
    Known{{"x-mac-centraleurope", "Mac Central European", "Central European"}, "x-mac-centraleurroman"},
    Known{{"ibm852", "IBM 852 (DOS)", "Central European"}, "IBM852"},
    Known{{"iso-8859-3", "ISO 8859-3", "South European"}, "ISO-8859-3"},
    Known{{"windows-1257", "Windows-1257", "Baltic"}, "windows-1257"},
    Known{{"iso-8859-4", "ISO 8859-4", "Baltic"}, "ISO-8859-4"},
    Known{{"iso-8859-13", "ISO 8859-13", "Baltic"}, "ISO-8859-13"},
    Known{{"iso-8859-10", "ISO 8859-10", "Nordic"}, "ISO-8859-10"},
    Known{{"iso-8859-14", "ISO 8859-14", "Celtic"}, "ISO-8859-14"},
    Known{{"windows-1251", "Windows-1251", "Cyrillic"}, "windows-1251"},
    Known{{"koi8-r", "KOI8-R", "Cyrillic"}, "KOI8-R"},
    Known{{"koi8-u", "KOI8-U", "Cyrillic"}, "KOI8-U"},
    Known{{"iso-8859-5", "ISO 8859-5", "Cyrillic"}, "ISO-8859-5"},
    Known{{"x-mac-cyrillic", "Mac Cyrillic", "Cyrillic"}, "x-mac-cyrillic"},
    Known{{"ibm855", "IBM 855 (DOS)", "Cyrillic"}, "IBM855"},
    Known{{"ibm866", "IBM 866 (DOS)", "Cyrillic"}, "IBM866"},
    Known{{"windows-1253", "Windows-1253", "Greek"}, "windows-1253"},
    Known{{"iso-8859-7", "ISO 8859-7", "Greek"}, "ISO-8859-7"},
    Known{{"x-mac-greek", "Mac Greek", "Greek"}, "x-mac-greek"},
    Known{{"ibm737", "IBM 737 (DOS)", "Greek"}, "IBM737"},
    Known{{"windows-1254", "Windows-1254", "Turkish"}, "windows-1254"},
    Known{{"iso-8859-9", "ISO 8859-9", "Turkish"}, "ISO-8859-9"},
    Known{{"x-mac-turkish", "Mac Turkish", "Turkish"}, "x-mac-turkish"},
    Known{{"ibm857", "IBM 857 (DOS)", "Turkish"}, "IBM857"},
    Known{{"windows-1255", "Windows-1255", "Hebrew"}, "windows-1255"},
    Known{{"iso-8859-8", "ISO 8859-8", "Hebrew"}, "ISO-8859-8"},
    Known{{"ibm862", "IBM 862 (DOS)", "Hebrew"}, "IBM862"},
    Known{{"windows-1256", "Windows-1256", "Arabic"}, "windows-1256"},
    Known{{"iso-8859-6", "ISO 8859-6", "Arabic"}, "ISO-8859-6"},
    Known{{"windows-874", "Windows-874", "Thai"}, "windows-874"},
    Known{{"windows-1258", "Windows-1258", "Vietnamese"}, "windows-1258"},
    Known{{"shift_jis", "Shift JIS", "Japanese"}, "windows-31j"},
    Known{{"euc-jp", "EUC-JP", "Japanese"}, "EUC-JP"},
    Known{{"iso-2022-jp", "ISO-2022-JP", "Japanese"}, "ISO-2022-JP"},
    Known{{"gb18030", "GB 18030", "Chinese, simplified"}, "GB18030"},
    Known{{"big5", "Big5", "Chinese, traditional"}, "Big5"},
    Known{{"big5-hkscs", "Big5-HKSCS", "Chinese, traditional"}, "Big5-HKSCS"},
    Known{{"euc-kr", "EUC-KR", "Korean"}, "windows-949"},
    Known{{"iso-2022-kr", "ISO-2022-KR", "Korean"}, "ISO-2022-KR"},
    Known{{"utf-16le", "UTF-16, little-endian, without a mark", "Unicode"}, "UTF-16LE"},
    Known{{"utf-16be", "UTF-16, big-endian, without a mark", "Unicode"}, "UTF-16BE"},
    Known{{"utf-32le", "UTF-32, little-endian", "Unicode"}, "UTF-32LE"},
    Known{{"utf-32be", "UTF-32, big-endian", "Unicode"}, "UTF-32BE"},
};

constexpr auto encodingsOnOffer = [] {
    std::array<LegacyEncoding, knownEncodings.size()> list{};
    std::transform(knownEncodings.begin(), knownEncodings.end(), list.begin(),
                   [](const Known& known) { return known.encoding; });
    return list;
}();

const Known* findKnown(std::string_view id)
{
    const auto* const found = std::find_if(knownEncodings.begin(), knownEncodings.end(),
                                           [&](const Known& known) { return known.encoding.id == id; });
    return found == knownEncodings.end() ? nullptr : found;
}

template <auto Close>
struct Closer {
    template <class T>
    void operator()(T* handle) const
    {
        Close(handle);
    }
};
using Converter = std::unique_ptr<UConverter, Closer<ucnv_close>>;
using Detector = std::unique_ptr<UCharsetDetector, Closer<ucsdet_close>>;

Converter openConverter(const char* name)
{
    UErrorCode error = U_ZERO_ERROR;
    Converter converter(ucnv_open(name, &error));
    if (error == U_MEMORY_ALLOCATION_ERROR)
        throw std::bad_alloc();
    return U_FAILURE(error) ? nullptr : std::move(converter);
}

// What a converter calls for bytes that mean nothing; the context counts them.
void U_CALLCONV replaceAndCount(const void* context, UConverterToUnicodeArgs* arguments, const char* /*bytes*/,
                                std::int32_t length, UConverterCallbackReason reason, UErrorCode* error)
{
    if (reason > UCNV_IRREGULAR)
        return;  // the converter is reset, copied or closed
    *static_cast<std::size_t*>(const_cast<void*>(context)) += static_cast<std::size_t>(length);
    *error = U_ZERO_ERROR;
    constexpr UChar replacement = 0xfffd;
    ucnv_cbToUWriteUChars(arguments, &replacement, 1, 0, error);
}

// Block by block from one converter through UTF-16 into the other.
void convertBlocks(std::string& text, std::string_view bytes, UConverter& from, UConverter& to)
{
    constexpr std::size_t blockSize = 1 << 20;  // ICU takes less than 2 GB at once
    std::array<UChar, 4096> pivot;
    UChar* pivotSource = pivot.data();
    UChar* pivotTarget = pivot.data();
    std::array<char, 16384> room;
    bool isFirst = true;
    for (std::size_t at = 0; at < bytes.size(); at += blockSize) {
        const std::string_view block = bytes.substr(at, blockSize);
        const bool isLast = block.size() == bytes.size() - at;
        const char* source = block.data();
        UErrorCode error = U_BUFFER_OVERFLOW_ERROR;
        while (error == U_BUFFER_OVERFLOW_ERROR) {
            error = U_ZERO_ERROR;
            char* target = room.data();
            ucnv_convertEx(&to, &from, &target, room.data() + room.size(), &source, block.data() + block.size(),
                           pivot.data(), &pivotSource, &pivotTarget, pivot.data() + pivot.size(),
                           static_cast<UBool>(std::exchange(isFirst, false)), static_cast<UBool>(isLast), &error);
            text.append(room.data(), target);
        }
        if (error == U_MEMORY_ALLOCATION_ERROR)
            throw std::bad_alloc();
    }
}

// ICU reads the control characters of IBM's encodings in another order, as their mainframes did. On disk a file of DOS
// that ends in 1A means the end of file by it.
bool rotatesControls(UConverter& converter)
{
    constexpr char endOfFile = '\x1a';
    const char* source = &endOfFile;
    UErrorCode error = U_ZERO_ERROR;
    const UChar32 character = ucnv_getNextUChar(&converter, &source, source + 1, &error);
    ucnv_reset(&converter);
    return U_SUCCESS(error) && character == 0x1c;
}

void rotateBack(std::string& text)
{
    for (char& c : text) {
        if (c == '\x1c')
            c = '\x1a';
        else if (c == '\x1a')
            c = '\x7f';
        else if (c == '\x7f')
            c = '\x1c';
    }
}

std::optional<ConvertedText> convert(std::string_view bytes, const char* name)
{
    const Converter from = openConverter(name);
    const Converter to = openConverter("UTF-8");
    if (!from || !to)
        return std::nullopt;
    const bool isRotated = rotatesControls(*from);
    ConvertedText converted;
    UErrorCode error = U_ZERO_ERROR;
    ucnv_setToUCallBack(from.get(), replaceAndCount, &converted.unconvertibleBytes, nullptr, nullptr, &error);
    converted.text.reserve(bytes.size());
    convertBlocks(converted.text, bytes, *from, *to);
    if (isRotated)
        rotateBack(converted.text);
    constexpr std::string_view mark = "\xef\xbb\xbf";
    if (converted.text.starts_with(mark))
        converted.text.erase(0, mark.size());
    return converted;
}

bool isBeyondAscii(char c)
{
    return static_cast<unsigned char>(c) >= 0x80 || c == '\x1b' || c == '\0';
}

// A part that tells encodings apart, beginning where a character does: at the start, or in the ASCII that is before all
// else, a little of which is enough.
std::string_view tellingPart(std::string_view bytes)
{
    constexpr std::size_t sampleSize = 65'536;
    constexpr std::size_t header = 4096;
    constexpr std::size_t context = 64;
    const auto first =
        static_cast<std::size_t>(std::find_if(bytes.begin(), bytes.end(), isBeyondAscii) - bytes.begin());
    const bool isFar = first >= header && first < bytes.size();
    return bytes.substr(isFar ? first - context : 0, sampleSize);
}

// The encoding of 16 or 32 bits a character that the zero bytes speak for. Hardly a text is without spaces and line
// ends, so that often the same byte of a unit is zero.
std::string_view wideEncoding(std::string_view bytes)
{
    std::array<std::size_t, 4> zeros{};
    for (std::size_t at = 0; at < bytes.size(); ++at)
        zeros[at % 4] += bytes[at] == '\0';
    const std::size_t units = bytes.size() / 4;
    const auto most = [&](std::size_t place) { return 10 * zeros[place] > 9 * units; };
    const auto some = [&](std::size_t place) { return 20 * zeros[place] > units; };
    if (units == 0)
        return {};
    if (most(3) && most(2) && !most(0))
        return "utf-32le";
    if (most(0) && most(1) && !most(3))
        return "utf-32be";
    const std::size_t even = zeros[0] + zeros[2];
    const std::size_t odd = zeros[1] + zeros[3];
    if ((some(1) || some(3)) && odd > 8 * even)
        return "utf-16le";
    if ((some(0) || some(2)) && even > 8 * odd)
        return "utf-16be";
    return {};
}

// The id for a name that the detector gives; none for what is not on offer.
std::string_view idOfDetected(std::string_view name)
{
    constexpr std::array<std::pair<std::string_view, std::string_view>, 2> others{{
        {"ISO-8859-1", "windows-1252"},  // the same but for control characters that texts do not have
        {"ISO-8859-8-I", "iso-8859-8"},
    }};
    for (const auto& [detected, id] : others) {
        if (name == detected)
            return id;
    }
    std::string lowerCase(name);
    for (char& c : lowerCase)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    const Known* known = findKnown(lowerCase);
    return known ? known->encoding.id : std::string_view();
}

std::vector<std::string_view> detect(std::string_view sample)
{
    constexpr std::int32_t unlikely = 10;  // of 100
    std::vector<std::string_view> ids;
    const auto add = [&](std::string_view id) {
        if (!id.empty() && std::find(ids.begin(), ids.end(), id) == ids.end())
            ids.push_back(id);
    };
    add(wideEncoding(sample));
    UErrorCode error = U_ZERO_ERROR;
    const Detector detector(ucsdet_open(&error));
    if (U_FAILURE(error))
        return ids;
    ucsdet_setText(detector.get(), sample.data(), static_cast<std::int32_t>(sample.size()), &error);
    std::int32_t count = 0;
    const UCharsetMatch** matches = ucsdet_detectAll(detector.get(), &count, &error);
    for (std::int32_t i = 0; U_SUCCESS(error) && i < count; ++i) {
        if (ucsdet_getConfidence(matches[i], &error) <= unlikely)
            continue;
        const char* name = ucsdet_getName(matches[i], &error);
        if (U_SUCCESS(error) && name)
            add(idOfDetected(name));
    }
    return ids;
}

}  // namespace

std::span<const LegacyEncoding> legacyEncodings() noexcept
{
    return encodingsOnOffer;
}

const LegacyEncoding* findLegacyEncoding(std::string_view id) noexcept
{
    const Known* known = findKnown(id);
    return known ? &known->encoding : nullptr;
}

std::optional<ConvertedText> convertLegacyText(std::string_view bytes, std::string_view id)
{
    const Known* known = findKnown(id);
    return known ? convert(bytes, known->converter) : std::nullopt;
}

std::vector<std::string_view> guessLegacyEncoding(std::string_view bytes)
{
    const std::string_view sample = tellingPart(bytes);
    if (sample.empty())
        return {};
    std::vector<std::string_view> ids = detect(sample);
    // The detector goes by how often letters occur; what leaves bytes over is hardly it.
    std::stable_partition(ids.begin(), ids.end(), [&](std::string_view id) {
        const auto converted = convertLegacyText(sample, id);
        return converted && converted->unconvertibleBytes <= sample.size() / 100 + 3;
    });
    return ids;
}

}  // namespace penmark
