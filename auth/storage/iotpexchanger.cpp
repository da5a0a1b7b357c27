// The interface has no code of its own; this unit gives its meta-object a home.
#include "iotpexchanger.h"
