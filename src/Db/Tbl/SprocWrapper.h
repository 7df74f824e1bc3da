#pragma once

#include <memory>
#include <string>

#include "db/DBStatus.h"
#include "db/DBtran.h"

/// A cursor whose result is one XML text. `Accessor` is a procedure accessor, `Row` its row buffer.
///
/// One thread, one call: set the accessor's inputs through getCursor(), then getXMLFromCursor(). Its own failures are
/// -1; the engine's words go to the caller's error text.
template <class Accessor, class Row> class CursorWrapper {
  public:
    CursorWrapper() = default;
    CursorWrapper(const CursorWrapper&) = delete;
    CursorWrapper& operator=(const CursorWrapper&) = delete;
    virtual ~CursorWrapper() {
        if (open_)
            closeCursor(nullptr);
    }

    /// The accessor, owned by the wrapper.
    Accessor* getCursor() { return accessor_.get(); }
    Row* getDataPtr() { return accessor_->getDataPtr(); }

    /// Runs the procedure and reads its result. A result that is not empty goes to `xml`, behind a declaration of XML
    /// 1.1 or 1.0 with `declaration`; an empty one leaves `xml` as it was. 0, or -1 with the words in `*error`, which
    /// may be null, and `xml` as it was.
    int getXMLFromCursor(std::string& xml, std::string* error, bool version11, bool declaration) {
        text_.clear();
        open_ = true;
        int status = accessor_->openCursor();
        if (status == kDbOk)
            status = accessor_->fetchXML(text_);
        if (status != kDbOk) {
            keepError(status, error);
            closeCursor(nullptr);
            return kDbFailed;
        }
        if (closeCursor(error) != kDbOk)
            return kDbFailed;
        if (text_.empty())
            return kDbOk;
        xml = declaration ? (version11 ? "<?xml version='1.1' encoding='utf-8' ?>"
                                       : "<?xml version='1.0' encoding='utf-8' ?>") +
                                text_
                          : text_;
        return kDbOk;
    }

    /// 0, or -1 with the words in `*error`, which may be null.
    int closeCursor(std::string* error) {
        open_ = false;
        const int status = accessor_->closeCursor();
        if (status == kDbOk)
            return kDbOk;
        keepError(status, error);
        return kDbFailed;
    }

    const std::string& lastError() const { return lastError_; }

  protected:
    std::unique_ptr<Accessor> accessor_;

  private:
    void keepError(int status, std::string* error) {
        lastError_ = accessor_->getErrorStr(status);
        if (error != nullptr)
            *error = lastError_;
    }

    std::string text_;
    std::string lastError_;
    bool open_ = false;
};

/// A CursorWrapper that makes its accessor for a stored procedure, in `transaction` or outside any.
template <class Accessor, class Row> class SprocWrapper : public CursorWrapper<Accessor, Row> {
  public:
    SprocWrapper(const char* procedure, DBtran* transaction) : procedure_(procedure), transaction_(transaction) {
        this->accessor_ = std::make_unique<Accessor>(transaction_);
    }

    const std::string& procedure() const { return procedure_; }

  private:
    std::string procedure_;
    DBtran* transaction_;
};
