#include "boundary/module_state.h"

#ifndef CALI_AWB_DUMP
#define CALI_AWB_DUMP 0
#endif
#ifndef CALI_BLC_REPORT
#define CALI_BLC_REPORT 0
#endif
#ifndef CALI_LSC_DUMP
#define CALI_LSC_DUMP 0
#endif
#ifndef CALI_CCM_DUMP
#define CALI_CCM_DUMP 0
#endif

namespace cali {

ModuleState& module_state() {
    static ModuleState state{
        {}, {}, {CALI_AWB_DUMP != 0, CALI_BLC_REPORT != 0, CALI_LSC_DUMP != 0, CALI_CCM_DUMP != 0}};
    return state;
}

}  // namespace cali
