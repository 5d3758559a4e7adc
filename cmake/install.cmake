# What `cmake --install` puts where: the program, its desktop entry, the
# AppStream description, the icon in every size of the hicolor theme and the
# manual page. Translations are compiled into the program, so there are no
# catalogues to install.

include(GNUInstallDirs)

install(TARGETS quillet RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

# The desktop entry names the installed program by its full path, so a menu
# entry works from any prefix (~/.local, /opt/quillet), not only from one whose
# bin folder is on PATH. The path is only known at install time, because
# `cmake --install --prefix` may differ from the configured prefix, so the
# entry is written then.
install(CODE "
    set(QUILLET_DESKTOP_IN \"${PROJECT_SOURCE_DIR}/data/quillet.desktop.in\")
    set(QUILLET_DESKTOP_OUT_DIR \"${CMAKE_BINARY_DIR}/install\")
    set(QUILLET_BINDIR \"${CMAKE_INSTALL_BINDIR}\")
    set(QUILLET_APPLICATIONS_DIR \"${CMAKE_INSTALL_DATADIR}/applications\")
")
install(SCRIPT ${PROJECT_SOURCE_DIR}/cmake/install_desktop_entry.cmake)

install(FILES ${PROJECT_SOURCE_DIR}/data/app.quillet.Quillet.metainfo.xml
        DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)

# Every size the window manager, the menu and the software centre may ask
# for, plus the scalable drawing; the window asks the theme for "quillet".
install(DIRECTORY ${PROJECT_SOURCE_DIR}/data/icons/hicolor
        DESTINATION ${CMAKE_INSTALL_DATADIR}/icons
        FILES_MATCHING PATTERN "quillet.png" PATTERN "quillet.svg")

install(FILES ${PROJECT_SOURCE_DIR}/data/quillet.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
