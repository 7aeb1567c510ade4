#pragma once
// `hostsh --serve [--port N] [--host ADDR] [--token VALUE] [SCENE]`: loads the
// scene, serves the viewer page and its API, prints the page's address and
// serves until interrupted. Commands typed at the terminal (or piped in) run
// on the same host and every open page follows them.

namespace viewer {

// argv holds every argument of hostsh, "--serve" among them. Returns the
// exit status: 0 after an interrupt, 1 when the scene fails or the server
// cannot start, 2 for bad usage.
int serveMain(int argc, char** argv);

}  // namespace viewer
