#include "zynksdds.h"
