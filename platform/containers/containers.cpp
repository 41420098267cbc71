#include "platform/containers/containers.h"
