#pragma once

#include <string>

#include "PlatformExport.h"

/// A client by its id. A local of its user. `transaction` is a DBtran*, null for none.
class VSDKPLATFORM_API OVClient {
  public:
    explicit OVClient(unsigned long id) : id_(id) {}

    /// Reads the client's row. 0 when it exists, 100 when not, else another status of db/DBStatus.h.
    int lookup(void* transaction);
    /// The client's name, as the last lookup found it, or read now. 0, or what a lookup answers and `name` as it was.
    int getName(std::string& name, void* transaction);

  private:
    unsigned long id_;
    bool found_ = false;
    std::string name_;
};
