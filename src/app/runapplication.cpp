#include "runapplication.h"

int runApplication(int &, char **, PortEnumerator)
{
    return 0;
}
