#include "platform/pf/pf.h"
