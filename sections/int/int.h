#pragma once
// Scheda INT (trade and brokerage of waste without holding it) and its
// modules UO and UD: the waste-scheda and module code of scheda RIF, with
// the INT tables, texts and fields.

#include "sections/rif/modules.h"
#include "sections/rif/scheda.h"

namespace intsec {

const waste::SchedaKind &scheda();
// UO (codes::UO) or UD (codes::UD).
const waste::ModuleKind &module(int tipoMod);

} // namespace intsec
