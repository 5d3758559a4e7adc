#include "i18n.h"

#include "i18n_data.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string_view>

#include <glib.h>

namespace {

// Where "en" sits in LANGS: the language of every fallback.
constexpr int ENGLISH_INDEX = 5;

// U+202F NARROW NO-BREAK SPACE, the group separator of several languages.
constexpr const char* NNBSP = "\u202F";

struct NumberFormatRow {
    const char* code;
    const char* decimal;
    const char* group;
};

constexpr NumberFormatRow NUMBER_FORMATS[] = {
    {"de", ",", "."}, {"en", ".", ","},   {"fr", ",", NNBSP}, {"es", ",", "."},   {"it", ",", "."},
    {"pt", ",", ""},  {"nl", ",", "."},   {"pl", ",", NNBSP}, {"cs", ",", NNBSP}, {"hu", ",", "."},
    {"ro", ",", "."}, {"sv", ",", NNBSP}, {"da", ",", "."},   {"fi", ",", NNBSP}, {"el", ",", "."},
    {"tr", ",", "."}, {"ru", ",", NNBSP}, {"ja", ".", ","},   {"zh", ".", ","},   {"ko", ".", ","},
    {"ar", ".", ","}, {"he", ".", ","},
};

struct DateFormatRow {
    const char* code;
    const char* pattern;
};

constexpr DateFormatRow DATE_FORMATS[] = {
    {"de", "%d.%m.%y"}, {"pl", "%d.%m.%y"}, {"cs", "%d.%m.%y"}, {"ro", "%d.%m.%y"},
    {"fi", "%d.%m.%y"}, {"ru", "%d.%m.%y"}, {"en", "%m/%d/%y"}, {"fr", "%d/%m/%y"},
    {"es", "%d/%m/%y"}, {"it", "%d/%m/%y"}, {"pt", "%d/%m/%y"}, {"el", "%d/%m/%y"},
    {"he", "%d/%m/%y"}, {"ar", "%d/%m/%y"}, {"nl", "%d-%m-%y"}, {"da", "%d-%m-%y"},
    {"tr", "%d-%m-%y"}, {"hu", "%y-%m-%d"}, {"sv", "%y-%m-%d"}, {"ja", "%y/%m/%d"},
    {"zh", "%y/%m/%d"}, {"ko", "%y/%m/%d"},
};

// Index of code in LANGS (exact, case-sensitive, whole string), or -1.
int find_language(std::string_view code) {
    for (int i = 0; i < i18n_data::LANG_COUNT; ++i) {
        if (code == i18n_data::LANGS[i].code)
            return i;
    }
    return -1;
}

} // namespace

I18n::I18n() : m_setting("auto"), m_code("en"), m_rtl(false), m_lang_index(ENGLISH_INDEX) {
    set_language("auto");
}

I18n& I18n::instance() {
    static I18n translator;
    return translator;
}

void I18n::set_language(const std::string& setting) {
    m_setting = setting.empty() ? "auto" : setting;
    std::string candidate = m_setting == "auto" ? detect_system_language() : m_setting;
    int index = find_language(candidate);
    if (index < 0) {
        candidate = "en";
        index = ENGLISH_INDEX;
    }
    m_lang_index = index;
    m_code = candidate;
    m_rtl = i18n_data::LANGS[index].rtl;
}

const char* I18n::tr(const char* text) const {
    if (!text || !text[0])
        return text;
    const char* const* begin = i18n_data::KEYS;
    const char* const* end = begin + i18n_data::KEY_COUNT;
    const char* const* it = std::lower_bound(
        begin, end, text, [](const char* a, const char* b) { return std::strcmp(a, b) < 0; });
    if (it == end || std::strcmp(*it, text) != 0)
        return text;
    return i18n_data::LANGS[m_lang_index].values[it - begin];
}

std::string I18n::trf(const char* format, ...) const {
    const char* f = tr(format);
    if (!f)
        return {};
    va_list args;
    va_start(args, format);
    va_list measure;
    va_copy(measure, args);
    const int length = std::vsnprintf(nullptr, 0, f, measure);
    va_end(measure);
    std::string out;
    if (length < 0) {
        out = f;
    } else {
        out.resize(static_cast<size_t>(length) + 1);
        std::vsnprintf(out.data(), out.size(), f, args);
        out.resize(static_cast<size_t>(length));
    }
    va_end(args);
    return out;
}

I18n::NumberFormat I18n::number_format() const {
    for (const NumberFormatRow& row : NUMBER_FORMATS) {
        if (m_code == row.code)
            return {row.decimal, row.group};
    }
    return {".", ","};
}

const char* I18n::date_format() const {
    for (const DateFormatRow& row : DATE_FORMATS) {
        if (m_code == row.code)
            return row.pattern;
    }
    return "%m/%d/%y";
}

std::vector<LanguageInfo> I18n::available() {
    std::vector<LanguageInfo> out;
    out.reserve(i18n_data::LANG_COUNT);
    for (const i18n_data::LangEntry& row : i18n_data::LANGS)
        out.push_back({row.code, row.native_name, row.rtl});
    return out;
}

std::string I18n::detect_system_language() {
    // GLib reads LANGUAGE, LC_ALL, LC_MESSAGES and LANG in that order and
    // lists every name with its shorter variants, "C" last.
    return language_from_locale_names(g_get_language_names());
}

std::string I18n::language_from_locale_names(const char* const* names) {
    if (!names)
        return "en";
    for (; *names; ++names) {
        std::string_view name = *names;
        if (name.empty() || name == "C")
            continue;
        name = name.substr(0, name.find('.'));
        name = name.substr(0, name.find('@'));
        if (find_language(name) >= 0)
            return std::string(name);
        // A region never selects a table of its own: pt_BR and pt_PT are both "pt".
        const size_t underscore = name.find('_');
        if (underscore != std::string_view::npos) {
            const std::string_view language = name.substr(0, underscore);
            if (find_language(language) >= 0)
                return std::string(language);
        }
    }
    return "en";
}
