// The kernel library's public headers, all of them.
#pragma once

#include "zynkbin.h"
#include "zynkconv.h"
#include "zynkdbg.h"
#include "zynkdynp.h"
#include "zynkoid.h"
#include "zynkoids.h"
#include "zynksdds.h"
#include "zynkspac.h"
#include "zynkstr.h"
#include "zynktime.h"
#include "zynktrc.h"
#include "zynkvoc.h"
#include "zynkxcp.h"
#include "zynkxdr.h"
