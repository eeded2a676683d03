// Joystick info: the class and its exported functions.
#pragma once

#include "contract/omx.h"
#include "platform/joystick.h"

/// Shows the position records of a joystick capture as plain values. The parameters are in QELjoyInfoEx.json. Methods
/// take the host's event mask and sequence number, which do not matter, and return 1.
class ZAM_LIB_QELjoyInfoEx : public OMXobj {
public:
    using OMXobj::OMXobj;

    int inst(unsigned event_mask, int seq);
    int deinst(unsigned event_mask, int seq);
    /// Writes the outputs. Without two records only btn_1 to btn_8 are cleared.
    int update_info(unsigned event_mask, int seq);

    // Members. They are looked up at each use, as networks may take parameters away and make them again.
    OMXptr ref_link() const { return {*this, "ref_link"}; }
    OMXptr cur_link() const { return {*this, "cur_link"}; }
    OMXreal axis_scale() const { return {*this, "axis_scale"}; }
    OMXint verbose() const { return {*this, "verbose"}; }
    OMXint updated() const { return {*this, "updated"}; }
    OMXreal pov() const { return {*this, "pov"}; }
    OMXint btn_count() const { return {*this, "btn_count"}; }
    OMXint btn_num() const { return {*this, "btn_num"}; }
    OMXobj buttons() const { return {*this, "buttons"}; }

private:
    void write_axes(const JOYINFOEX& cur, const JOYINFOEX& ref) const;
    void write_buttons(const JOYINFOEX& cur, int count) const;
};

#ifdef __cplusplus
extern "C" {
#endif

ZAM_MODULE_API void* ZAM_LIB_QELjoyInfoEx_create(OMobj_id object);
ZAM_MODULE_API void ZAM_LIB_QELjoyInfoEx_destroy(void* self);
ZAM_MODULE_API int ZAM_LIB_QELjoyInfoEx_inst(void* self, unsigned event_mask, int seq);
ZAM_MODULE_API int ZAM_LIB_QELjoyInfoEx_deinst(void* self, unsigned event_mask, int seq);
ZAM_MODULE_API int ZAM_LIB_QELjoyInfoEx_update_info(void* self, unsigned event_mask, int seq);

#ifdef __cplusplus
}
#endif
