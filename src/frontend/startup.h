// Start-up: banner, settings, start position and the choice of front end.
#pragma once

int RunEngine(int argc, char** argv);
