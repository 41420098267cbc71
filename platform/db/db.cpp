#include "platform/db/db.h"
