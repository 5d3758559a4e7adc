// The application icon as the bytes of its PNG file, for the about card. The
// build generates the definition from data/icons/hicolor/256x256/apps/
// quillet.png (cmake/icon_data.cmake), so the picture has one source: the
// committed file. Constant data; any thread may read it.
#pragma once

#include <cstddef>

namespace icon_data {

// The PNG file's bytes, 256 by 256 pixels.
extern const unsigned char PNG[];
extern const size_t PNG_SIZE;

} // namespace icon_data
