// Joystick capture: the class and its exported functions.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "contract/omx.h"
#include "platform/joystick.h"

/// Keeps two position records of a joystick, where it rested and where it stands now, and sets `changed` when it
/// leaves its rest. The parameters are in QELjoyCapture.json; the records' addresses are the pointer values of
/// `ref_info` and `cur_info` from inst() to deinst(). Methods take the host's event mask and sequence number, which do
/// not matter, and return 1 unless they say otherwise.
class ZAM_LIB_QELjoyCapture : public OMXobj {
public:
    using OMXobj::OMXobj;
    virtual ~ZAM_LIB_QELjoyCapture();
    ZAM_LIB_QELjoyCapture(const ZAM_LIB_QELjoyCapture&) = delete;
    ZAM_LIB_QELjoyCapture& operator=(const ZAM_LIB_QELjoyCapture&) = delete;

    /// Makes the records. @return 0, after a report, if there is no memory or the host does not keep the addresses
    int inst(unsigned event_mask, int seq);
    /// Stops polling and ends the records. The joysticks stay captured: they belong to the process, not to the
    /// instance.
    int deinst(unsigned event_mask, int seq);

    // in the order of their dispatch
    /// Captures the joysticks and takes the reference position.
    virtual int update_init(unsigned event_mask, int seq);
    /// Reads where the joystick stands and sets `changed`.
    virtual int update_pos(unsigned event_mask, int seq);
    /// Starts polling anew or stops it, as `active` says.
    virtual int update_event(unsigned event_mask, int seq);
    /// @return 1 if the joystick is away from its rest position by more than the threshold, or its throttle from
    ///         where it was last reported, or its buttons differ; else 0
    virtual int update_threshold(unsigned event_mask, int seq);
    virtual int add_event(unsigned event_mask, int seq);
    virtual int del_event(unsigned event_mask, int seq);

    // Members. They are looked up at each use, as networks may take parameters away and make them again.
    OMXint active() const { return {*this, "active"}; }
    OMXreal threshold() const { return {*this, "threshold"}; }
    OMXint joystick() const { return {*this, "joystick"}; }
    OMXint interval() const { return {*this, "interval"}; }
    OMXptr owner_wnd() const { return {*this, "owner_wnd"}; }
    OMXint event_interval() const { return {*this, "event_interval"}; }
    OMXint event_on() const { return {*this, "event_on"}; }
    OMXint joy1_captured() const { return {*this, "joy1_captured"}; }
    OMXint joy2_captured() const { return {*this, "joy2_captured"}; }
    OMXint changed() const { return {*this, "changed"}; }
    OMXptr ref_info() const { return {*this, "ref_info"}; }
    OMXptr cur_info() const { return {*this, "cur_info"}; }

private:
    using Record = std::unique_ptr<JOYINFOEX>;

    static JOYINFOEX* published(const OMXptr& member, const Record& record);
    HWND window() const;
    void take_registration_back();

    // What the host's pointers lead to. A pointer that leads elsewhere by now counts as unreadable.
    Record ref_record_, cur_record_;
    std::uint32_t last_z_ = 0;       // throttle as last reported
    std::optional<int> registered_;  // interval of the registration that the host has
};

#ifdef __cplusplus
extern "C" {
#endif

ZAM_MODULE_API void* ZAM_LIB_QELjoyCapture_create(OMobj_id object);
ZAM_MODULE_API void ZAM_LIB_QELjoyCapture_destroy(void* self);
ZAM_MODULE_API int ZAM_LIB_QELjoyCapture_inst(void* self, unsigned event_mask, int seq);
ZAM_MODULE_API int ZAM_LIB_QELjoyCapture_deinst(void* self, unsigned event_mask, int seq);
ZAM_MODULE_API int ZAM_LIB_QELjoyCapture_update_init(void* self, unsigned event_mask, int seq);
ZAM_MODULE_API int ZAM_LIB_QELjoyCapture_update_pos(void* self, unsigned event_mask, int seq);
ZAM_MODULE_API int ZAM_LIB_QELjoyCapture_update_event(void* self, unsigned event_mask, int seq);
ZAM_MODULE_API int ZAM_LIB_QELjoyCapture_update_threshold(void* self, unsigned event_mask, int seq);
ZAM_MODULE_API int ZAM_LIB_QELjoyCapture_add_event(void* self, unsigned event_mask, int seq);
ZAM_MODULE_API int ZAM_LIB_QELjoyCapture_del_event(void* self, unsigned event_mask, int seq);

/// The polling callback: reads the position of an instance whose polling is on. @param object  what _create gave
ZAM_MODULE_API void QELjoyCaptureEventUpdate(void* object);

#ifdef __cplusplus
}
#endif
