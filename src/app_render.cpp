// Drawing of one frame onto the canvas (or any Cairo context, so that tests
// can draw offscreen).

#include "app.h"

void App::draw_all(cairo_t* cr) {
    m_cr = cr;
    m_targets.clear();
    Rgb bg;
    if (hex_to_rgb(m_palette.window, bg)) {
        cairo_save(cr);
        cairo_set_source_rgba(cr, bg.r, bg.g, bg.b, 1.0);
        cairo_rectangle(cr, 0, 0, m_width, m_height);
        cairo_fill(cr);
        cairo_restore(cr);
    }
}
