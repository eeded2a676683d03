// Topology of a plane vector field: its critical points, and the separatrices that leave its saddles.
//
// The entry, and the state of the last run under the names that other programs look it up by: published when a run
// ends, however it ends. Positions are grid indices: node i of row j lies at x = i, y = j. One run at a time.
#pragma once

#include "contract/types.h"

enum {
    TOPOLOGY_MAX_POINTS = 200,  // critical points of a field, and so its saddles
    TOPOLOGY_MAX_CELLS = 1000   // grid cells in either direction
};

#ifdef __cplusplus
extern "C" {
#endif

typedef struct TopologyVector {
    double x, y;
} TopologyVector;

/// A node of a separatrix, or an entry of a saddle bucket.
typedef struct TopologyPoint {
    double x, y;
    struct TopologyPoint* next;  // null: the last one
} TopologyPoint;

/// A separatrix; its first node is the saddle that it leaves.
typedef struct Streamline {
    TopologyPoint* first;
    struct Streamline* next;  // null: the last one
} Streamline;

/// Classes of critical points. A point of none of these has the class -1.
enum {
    TOPOLOGY_SADDLE = 0,
    TOPOLOGY_ATTRACTING_NODE = 1,
    TOPOLOGY_REPELLING_NODE = 2,
    TOPOLOGY_ATTRACTING_FOCUS = 3,
    TOPOLOGY_REPELLING_FOCUS = 4,
    TOPOLOGY_CENTRE = 5
};

typedef struct CriticalPoint {
    double x, y;
    double kind;    // one of the classes above
    double saddle;  // ordinal of a saddle, from 0
} CriticalPoint;

/// One step moves a separatrix by the vector divided by this.
extern ZAM_MODULE_API double Interval;
/// How near to a saddle or loop marker a separatrix ends. It starts twice as far from its own saddle.
extern ZAM_MODULE_API double Radius;

/// The critical points; all four values of unused records are -1.
extern ZAM_MODULE_API CriticalPoint critical_index[TOPOLOGY_MAX_POINTS];
/// The number of critical points.
extern ZAM_MODULE_API int32_t critical_num;
/// The number of saddles.
extern ZAM_MODULE_API int32_t origin_num;
/// Of each saddle by its ordinal: its two eigenvectors e1 and e2, not normalised, then -e1 and -e2.
extern ZAM_MODULE_API TopologyVector eigen_vector[TOPOLOGY_MAX_POINTS][4];

/// Saddles and loop markers of each cell, at floor(x) * 1000 + floor(y): the first one, and the last one. They stay
/// valid until the next run, which fills these two tables in place: they are too large to be held twice.
extern ZAM_MODULE_API TopologyPoint* saddle_list_head[TOPOLOGY_MAX_CELLS * TOPOLOGY_MAX_CELLS];
extern ZAM_MODULE_API TopologyPoint* saddle_list[TOPOLOGY_MAX_CELLS * TOPOLOGY_MAX_CELLS];

/// The separatrices in the order in which they were started, and two cursors over them. All four are null: the
/// separatrices are freed as they are written, before the run ends.
extern ZAM_MODULE_API Streamline* streamline_list_head;
extern ZAM_MODULE_API Streamline* streamline_list_tail;
extern ZAM_MODULE_API Streamline* streamline;
extern ZAM_MODULE_API Streamline* streamline_prev;

/// Module entry. Reads in_field (vectors on a plane grid), go, Interval, Radius; writes out_field (the separatrices as
/// lines) and out_field2 (the critical points with their two-letter classes), both in the plane z = 0.05.
/// @return 1, or 0 after a report with both outputs as they were
ZAM_MODULE_API int ZAMtopologyline2D(OMobj_id instance, unsigned event_mask, int seq);

#ifdef __cplusplus
}
#endif
