// The whole host contract.
#pragma once

#include "contract/arr.h"
#include "contract/err.h"
#include "contract/ev.h"
#include "contract/file.h"
#include "contract/fld.h"
#include "contract/gd.h"
#include "contract/mat.h"
#include "contract/om.h"
#include "contract/types.h"
