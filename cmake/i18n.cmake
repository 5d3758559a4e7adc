# The translation tables. The gettext catalogues in po/ are the source of
# truth; scripts/po_tables.py turns them into one C++ source in the build
# folder, which becomes part of quillet_core. A catalogue that lacks a text,
# has an unknown one or changes a placeholder stops the build right here.

find_package(Python3 REQUIRED COMPONENTS Interpreter)

# Every catalogue is complete, so an untranslated text fails the build. Turn
# this off only while a catalogue is being written: an untranslated text then
# shows in English and is only counted. Missing, unknown and placeholder-changing
# texts fail the build either way.
option(QUILLET_STRICT_TRANSLATIONS "Fail the build when a catalogue has untranslated texts" ON)

set(QUILLET_PO_GENERATOR ${PROJECT_SOURCE_DIR}/scripts/po_tables.py)
set(QUILLET_POT ${PROJECT_SOURCE_DIR}/po/quillet.pot)
file(GLOB QUILLET_PO_FILES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/po/*.po)
set(QUILLET_I18N_TABLES ${CMAKE_BINARY_DIR}/generated/i18n_data.cpp)

set(quillet_po_strict_flag --strict)
if(NOT QUILLET_STRICT_TRANSLATIONS)
    set(quillet_po_strict_flag --no-strict)
endif()

add_custom_command(
    OUTPUT ${QUILLET_I18N_TABLES}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/generated
    COMMAND ${Python3_EXECUTABLE} ${QUILLET_PO_GENERATOR}
            --pot ${QUILLET_POT}
            --po-dir ${PROJECT_SOURCE_DIR}/po
            --output ${QUILLET_I18N_TABLES}
            ${quillet_po_strict_flag}
    DEPENDS ${QUILLET_PO_GENERATOR} ${QUILLET_POT} ${QUILLET_PO_FILES}
    COMMENT "Building the translation tables from po/"
    VERBATIM)

target_sources(quillet_core PRIVATE ${QUILLET_I18N_TABLES})
