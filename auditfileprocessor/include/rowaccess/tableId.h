// The eight audit tables, in the order in which they are described and mapped.
#pragma once

enum TableId {
    kDispatcherTable = 0,    // "QXES_DISPATCHER"
    kSessionTable = 1,       // "QXES_SESSION"
    kRequestTable = 2,       // "QXES_REQUEST"
    kAdminSourceTable = 3,   // "QXES_ADMIN_SOURCE"
    kUserSourceTable = 4,    // "QXES_USER_SOURCE"
    kDimUsageTable = 5,      // "QXES_DIM_USAGE"
    kMeasureUsageTable = 6,  // "QXES_MEASURE_USAGE"
    kLevelUsageTable = 7,    // "QXES_LEVEL_USAGE"
};
