#pragma once

#include <string>
#include <vector>

#include "PlatformExport.h"
#include "appmgr/Subclient.h"

/// A subclient to be configured, known by its id: its name and policies are not read. A local of its user, for one
/// transaction; statuses and failures are as in Subclient.
class VSDKPLATFORM_API SubclientConf : public Subclient {
  public:
    explicit SubclientConf(unsigned long subclientId);
    ~SubclientConf() override;

    /// Reads the content as it is. Only the transaction is used.
    int initContent(void* transaction, bool content, bool filters);
    /// Makes the content the set of the texts of `content`, after initContent. A text that is there before and after
    /// keeps its row; every text that goes or comes is one row written. Of equal texts one is kept. A text that is not
    /// whole UTF-8 is refused with kDbBadText.
    ///
    /// `what` is 1: what is backed up; another number is kDbBadStatement. `*code` is the caller's number for what is
    /// done; it may be null and stays as it is. The two arguments without a name are not used.
    int updateContent(int what, const BackupContent& content, const BackupContent&, bool, void* transaction, int* code);

  private:
    struct Entry {
        int id;
        std::string text;
    };
    std::vector<Entry> entries_; ///< the current rows
    bool entriesRead_ = false;
};
