#pragma once

#include <array>

namespace hubdb {

/// The number of an operation type as jobs carry it, and what lists call it.
struct OperationType {
    int number;
    const char* name; ///< UTF-8, nothing that XML would have to escape
};

inline constexpr std::array kBackupOperations{
    OperationType{4, "Backup"},
    OperationType{14, "Synthetic Full Backup"},
    OperationType{18, "Disaster Recovery Backup"},
    OperationType{30, "Log Backup"},
    OperationType{43, "Archive"},
    OperationType{59, "Snapshot Backup"},
    OperationType{60, "Snapshot Copy"},
    OperationType{65, "Index Backup"},
};

inline constexpr std::array kRestoreOperations{
    OperationType{5, "Restore"},
    OperationType{15, "Index Restore"},
    OperationType{19, "Disaster Recovery Restore"},
    OperationType{31, "Log Restore"},
    OperationType{44, "Archive Recall"},
    OperationType{61, "Snapshot Restore"},
    OperationType{66, "Volume Recovery"},
};

/// Every other type from 1 to 154 is administrative. These have names; lists show the others' numbers.
inline constexpr std::array kAdministrativeOperations{
    OperationType{1, "Data Aging"},
    OperationType{2, "Auxiliary Copy"},
    OperationType{3, "Media Inventory"},
    OperationType{6, "Media Export"},
    OperationType{7, "Media Erase"},
    OperationType{8, "Data Verification"},
    OperationType{9, "Index Rebuild"},
    OperationType{10, "Report"},
    OperationType{11, "Software Installation"},
    OperationType{12, "Software Update"},
    OperationType{13, "Media Refresh"},
    OperationType{16, "Deduplication Check"},
    OperationType{17, "Content Indexing"},
    OperationType{20, "Space Reclamation"},
    OperationType{21, "Snapshot Mount"},
    OperationType{22, "Snapshot Unmount"},
    OperationType{23, "Snapshot Deletion"},
    OperationType{24, "Replication"},
    OperationType{25, "Workflow"},
};

} // namespace hubdb
