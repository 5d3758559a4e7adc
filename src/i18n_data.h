// The built-in translation tables: the English texts and one array of
// translations per language. Only declarations live here; the definitions are
// generated at build time from the gettext catalogues in po/ by
// scripts/po_tables.py, so nobody edits them by hand. Constant data, readable
// from any thread.
#pragma once

namespace i18n_data {

inline constexpr int KEY_COUNT = 308;
inline constexpr int LANG_COUNT = 22;

// One built-in language. values[i] translates KEYS[i]; where no translation
// is written yet it holds the English text itself, so it is never null.
struct LangEntry {
    const char* code;
    const char* native_name;
    bool rtl;
    const char* const* values;
};

// The English texts, sorted in ascending byte order (as strcmp compares), so
// that a text can be found by binary search. A text is its own identifier.
extern const char* const KEYS[KEY_COUNT];

// Ordered by code; this order is also the order offered to the user.
extern const LangEntry LANGS[LANG_COUNT];

extern const char* const VALUES_ar[KEY_COUNT];
extern const char* const VALUES_cs[KEY_COUNT];
extern const char* const VALUES_da[KEY_COUNT];
extern const char* const VALUES_de[KEY_COUNT];
extern const char* const VALUES_el[KEY_COUNT];
extern const char* const VALUES_en[KEY_COUNT];
extern const char* const VALUES_es[KEY_COUNT];
extern const char* const VALUES_fi[KEY_COUNT];
extern const char* const VALUES_fr[KEY_COUNT];
extern const char* const VALUES_he[KEY_COUNT];
extern const char* const VALUES_hu[KEY_COUNT];
extern const char* const VALUES_it[KEY_COUNT];
extern const char* const VALUES_ja[KEY_COUNT];
extern const char* const VALUES_ko[KEY_COUNT];
extern const char* const VALUES_nl[KEY_COUNT];
extern const char* const VALUES_pl[KEY_COUNT];
extern const char* const VALUES_pt[KEY_COUNT];
extern const char* const VALUES_ro[KEY_COUNT];
extern const char* const VALUES_ru[KEY_COUNT];
extern const char* const VALUES_sv[KEY_COUNT];
extern const char* const VALUES_tr[KEY_COUNT];
extern const char* const VALUES_zh[KEY_COUNT];

} // namespace i18n_data
