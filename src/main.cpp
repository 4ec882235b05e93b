#include "frontend/startup.h"

int main(int argc, char** argv) { return RunEngine(argc, argv); }
