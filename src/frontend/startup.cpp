#include "frontend/startup.h"

#include "board/position.h"
#include "search/search.h"

int RunEngine(int, char**) {
    mainContext.current = NewGame();
    return 0;
}
