# Runs at install time (from cmake_install.cmake): writes the desktop entry
# with the full path of the installed program and installs it. Expects
# QUILLET_DESKTOP_IN, QUILLET_DESKTOP_OUT_DIR, QUILLET_BINDIR and
# QUILLET_APPLICATIONS_DIR from the install(CODE) before it; CMAKE_INSTALL_PREFIX
# is the prefix of this install, which `cmake --install --prefix` may change.

if(IS_ABSOLUTE "${QUILLET_BINDIR}")
    set(quillet_exec "${QUILLET_BINDIR}/quillet")
else()
    set(quillet_exec "${CMAKE_INSTALL_PREFIX}/${QUILLET_BINDIR}/quillet")
endif()
if(IS_ABSOLUTE "${QUILLET_APPLICATIONS_DIR}")
    set(quillet_applications "${QUILLET_APPLICATIONS_DIR}")
else()
    set(quillet_applications "${CMAKE_INSTALL_PREFIX}/${QUILLET_APPLICATIONS_DIR}")
endif()

# A path with blanks or shell characters must be quoted on the Exec line, and
# inside the quotes ", `, $ and \ take a backslash; the file's own string
# escaping then doubles every backslash.
if(quillet_exec MATCHES "[ \t\"'\\\\$`<>~|&;*?#()]")
    string(REPLACE "\\" "\\\\" quoted "${quillet_exec}")
    string(REPLACE "\"" "\\\"" quoted "${quoted}")
    string(REPLACE "`" "\\`" quoted "${quoted}")
    string(REPLACE "$" "\\$" quoted "${quoted}")
    string(REPLACE "\\" "\\\\" quoted "${quoted}")
    set(QUILLET_EXEC "\"${quoted}\"")
else()
    set(QUILLET_EXEC "${quillet_exec}")
endif()

# One written entry per destination, so that installs into different prefixes
# from the same build, at the same time, never hand each other their entry.
string(MD5 destination "$ENV{DESTDIR}${quillet_applications}")
set(written "${QUILLET_DESKTOP_OUT_DIR}/${destination}/quillet.desktop")
configure_file("${QUILLET_DESKTOP_IN}" "${written}" @ONLY)
file(INSTALL "${written}" DESTINATION "${quillet_applications}")
