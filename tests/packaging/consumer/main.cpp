// Calls the installed library through its public headers only.
#include <cstdio>

#include "vxsensor/vx_extension.h"

int main() {
    std::printf("commit %s\n", vx_get_commit_hash());
    return 0;
}
