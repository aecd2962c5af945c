#include "app/runapplication.h"

int main(int argc, char *argv[])
{
    return runApplication(argc, argv, systemPorts);
}
