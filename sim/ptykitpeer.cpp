#include "ptykitpeer.h"
