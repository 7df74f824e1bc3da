#pragma once

#include <memory>
#include <vector>

#include "dblayer/VSDKDBLayerBase.h"

/// What all lists of entities have in common.
///
///     VSDK_ClientList clients;
///     for (const VSDK_Client* client : clients.FetchClients(true).elements)
///         use(client->clientId, client->name);
///
/// A list is made from the ids that scope it, and reads nothing yet. Its fetch takes one flag, whether each element's
/// properties are filled or only its ids, and returns the list itself. It reads once: from not fetched the list goes to
/// fetched, and later calls, whatever their argument, leave it as it is.
///
/// A failed read is not reported and not tried again: the list holds what was read before it, and
/// HubDatabase::lastFailure() (db/HubDatabase.h) tells it from a list that is empty. An element whose properties cannot
/// be read stays in the list with what was filled.
///
/// The list owns its elements and deletes them when it is destroyed: copy what must live longer. One thread uses it at
/// a time.
template <class Element> class VSDK_EntityList : public VSDKDB_Base {
  public:
    std::vector<Element*> elements; ///< in the order in which the database gives them; owned by the list, never null
    bool fetched = false;           ///< the elements were read, to the end or to a failure

    VSDK_EntityList(const VSDK_EntityList&) = delete;
    VSDK_EntityList& operator=(const VSDK_EntityList&) = delete;

  protected:
    VSDK_EntityList() = default;
    ~VSDK_EntityList() {
        for (const Element* element : elements)
            delete element;
    }

    void append(std::unique_ptr<Element> element) {
        elements.push_back(element.get());
        (void)element.release(); // the list's from here on
    }
};
