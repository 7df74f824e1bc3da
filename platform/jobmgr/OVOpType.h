#pragma once

/// The number of an operation type, 1 to 154: 4 is a backup. schema/OperationTypes.h has their names.
enum OVOpType : int {};

inline constexpr int kFirstOpType = 1;
inline constexpr int kLastOpType = 154;
