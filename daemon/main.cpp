#include "daemon/loop.h"

int main() {
    cellwarden::run_daemon(cellwarden::phone_device);
    return 0;
}
