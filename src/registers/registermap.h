#pragma once

#include "link/registerstore.h"

#include <QList>

// The chip's register map: the defaults of each revision, from which the settings
// are seeded. Held by value and never changed at run time.
extern const QList<Register> registers_rev_b; // 15 registers, no address 13
extern const QList<Register> registers_rev_c; // 16 registers, addresses 0 to 15
