# The application icon, embedded. The committed PNG under data/ is the source;
# cmake/embed_png.cmake writes its bytes as a C++ array into the build folder,
# and that source becomes part of quillet_core. Changing the PNG rebuilds it.

set(QUILLET_ICON_PNG ${PROJECT_SOURCE_DIR}/data/icons/hicolor/256x256/apps/quillet.png)
set(QUILLET_ICON_SOURCE ${CMAKE_BINARY_DIR}/generated/icon_data.cpp)

add_custom_command(
    OUTPUT ${QUILLET_ICON_SOURCE}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/generated
    COMMAND ${CMAKE_COMMAND} -DINPUT=${QUILLET_ICON_PNG} -DOUTPUT=${QUILLET_ICON_SOURCE}
            -P ${PROJECT_SOURCE_DIR}/cmake/embed_png.cmake
    DEPENDS ${QUILLET_ICON_PNG} ${PROJECT_SOURCE_DIR}/cmake/embed_png.cmake
    COMMENT "Embedding the application icon from data/"
    VERBATIM)

target_sources(quillet_core PRIVATE ${QUILLET_ICON_SOURCE})
