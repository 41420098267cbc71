#include "velorix.h"
