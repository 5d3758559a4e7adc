// The translator: maps each English interface text to the text of the active
// language, and supplies the per-language number separators, short date
// pattern and font families. Owns the language setting and nothing else; it
// reads no file and never touches the toolkit (GLib only, for the user's
// preferred languages). The tables are constant; the translator itself is
// read and changed only on the interface thread, so it needs no lock. Workers
// carry English texts and leave the translating to the code that shows them.
#pragma once

#include <string>
#include <vector>

// One built-in language as offered to the user.
struct LanguageInfo {
    std::string code;
    std::string native_name;
    bool rtl;
};

// Marks a text that is named in a table now and passed to I18n::tr() later
// (category titles, reasons, group titles), so that the check of used texts
// finds it. Returns the text unchanged.
constexpr const char* tr_noop(const char* text) {
    return text;
}

class I18n {
public:
    struct NumberFormat {
        const char* decimal;
        const char* group;
    };

    // The process-wide translator, created on first use with the setting
    // "auto" applied.
    static I18n& instance();

    // "auto" (or an empty setting, stored as "auto") follows the user's
    // locale; anything else is a language code. A code that is not built in
    // selects English, while the setting is kept exactly as given so that it
    // is written back unchanged.
    void set_language(const std::string& setting);
    const std::string& language() const { return m_setting; }
    const std::string& effective_language() const { return m_code; }
    bool is_rtl() const { return m_rtl; }

    // The translation of an English text, or the text itself when it is not
    // one of the interface texts. Null and "" come back as they are. The
    // result points into constant data (or is the argument) and stays valid
    // for the life of the process. Allocates nothing.
    const char* tr(const char* text) const;

    // tr(format) filled in by the printf rules. The program's formats only
    // hold "%s", and every translation keeps them in the same order. A
    // format that cannot be formatted comes back unformatted.
    std::string trf(const char* format, ...) const __attribute__((format(printf, 2, 3)));

    // The same families for every language: the text layout picks per-script
    // fallbacks itself.
    const char* ui_font_family() const { return "sans-serif"; }
    static const char* mono_font_family() { return "monospace"; }

    NumberFormat number_format() const;
    // A strftime pattern with a two-digit year.
    const char* date_format() const;

    // The built-in languages in table order, nothing added.
    static std::vector<LanguageInfo> available();
    // The first of the user's preferred locale names that names a built-in
    // language, ignoring character set, modifier and region; "en" when none
    // does.
    static std::string detect_system_language();
    // The rule detect_system_language() applies to GLib's list, for any
    // null-terminated list of locale names (a null list gives "en"): "C" and
    // empty names are skipped, "de_AT.UTF-8@euro" counts as "de_AT", and a
    // region that has no table of its own falls back to its language.
    static std::string language_from_locale_names(const char* const* names);

    I18n(const I18n&) = delete;
    I18n& operator=(const I18n&) = delete;

private:
    I18n();

    std::string m_setting;
    std::string m_code;
    bool m_rtl;
    int m_lang_index;
};
