#include "registermap.h"

// Placeholder until the tables are filled in.
const QList<Register> registers_rev_b;
const QList<Register> registers_rev_c;
