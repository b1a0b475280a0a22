// The words that the search publishes and shares.
#include "search/search_state.h"

SpinLock search_lock;
u8 root_side;
Relaxed<u16> best_pv[PV_SIZE];
Relaxed<i16> best_score;
Relaxed<i16> best_depth;
Relaxed<i16> best_change_depth;
Relaxed<i16> iteration_score[DEPTH_RECORDS];
Relaxed<u16> iteration_move[DEPTH_RECORDS];
double depth_nodes[DEPTH_RECORDS];
Relaxed<i16> search_depth;
Relaxed<u8> single_reply;
Relaxed<i32> tb_root_wdl;
u16 tb_root_move;
double search_start_time;
Relaxed<float> target_time;
u8 nps_throttle;
i32 root_quiescence_score;
i32 root_static_eval;
u16 line_move[MAX_LINES];
i16 line_score[MAX_LINES];
SearchTotals search_totals;
