// Entry point: the crash handler goes in before anything else can fail.

#include "app.h"
#include "crash_handler.h"
#include "heap_limits.h"

#include <clocale>

int main(int argc, char** argv) {
    CrashHandler::install();
    heap_limits::apply();
    setlocale(LC_ALL, "");
    setlocale(LC_NUMERIC, "C");
    App app;
    return app.run(argc, argv);
}
