#pragma once

#include "system/OVDate.h"

/// A new backup reference time of a subclient, and the caller's number for why it is set, which is handed on as it is.
class ChangeRefTime {
  public:
    ChangeRefTime(int reason, const OVDate& time) : reason_(reason), time_(time) {}

    int getReason() const { return reason_; }
    const OVDate& getTime() const { return time_; }

  private:
    int reason_;
    OVDate time_;
};
