// Builds the synthetic developer home in an existing empty folder, for the
// end-to-end tests and for looking at the program with a full home.
//
//   make_fixture_home FOLDER [SCALE]
//
// Prints the number of entries made. Creates only inside FOLDER.

#include "fixture_home.h"

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
    if (argc < 2 || argc > 3) {
        std::fprintf(stderr, "usage: make_fixture_home FOLDER [SCALE]\n");
        return 2;
    }
    const double scale = argc == 3 ? std::atof(argv[2]) : 1.0;
    if (!(scale > 0)) {
        std::fprintf(stderr, "make_fixture_home: the scale must be a positive number\n");
        return 2;
    }
    const fixture_home::Result r = fixture_home::build(argv[1], scale);
    if (!r.ok) {
        std::fprintf(stderr, "make_fixture_home: %s\n", r.error.c_str());
        return 1;
    }
    std::printf("%lld\n", static_cast<long long>(r.entries));
    return 0;
}
