#include "platform/timeconv/timeconv.h"
