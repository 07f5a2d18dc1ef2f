#include "measure/common_opm.h"

APD_BREAK_PARA* pApd_Break_Para = nullptr;
