#include "platform/geodesy/geodesy.h"
