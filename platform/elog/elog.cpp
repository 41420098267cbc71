#include "platform/elog/elog.h"
