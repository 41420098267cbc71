#include "platform/ttcalc/ttcalc.h"
