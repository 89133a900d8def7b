/**
 *  @file
 *    Where an application gets its network manager from.
 */

#ifndef ZQNETWORKMANAGER_FACTORY_H
#define ZQNETWORKMANAGER_FACTORY_H

#include <zqerror.h>
#include <zqevent.h>
#include <zqexport.h>

namespace zq::NetworkManager
{

class Manager;

/**
 *  Make the network manager that follows the ConnMan daemon on the system bus.
 *
 *  @code
 *  zqError  lError;
 *  Manager *lManager = CreateManager(lError, &lQueue);
 *
 *  if (lManager != nullptr)
 *  {
 *      lManager->AddObserver(&lObserver);
 *      lManager->Run();     // until somebody calls Stop
 *      delete lManager;
 *  }
 *  @endcode
 *
 *  The daemon need not be there, and its answers need not be usable: that is
 *  logged, the manager is made all the same, and its lists are filled when the
 *  daemon comes (anew). They are filled on the thread that runs Manager::Run.
 *
 *  A process that may not read the stored networks has a manager without them;
 *  that is logged, and what it changes of them is not stored (see
 *  Manager::GetProvisionsError). When they cannot be read for another reason
 *  there is no manager.
 *
 *  Call it on the thread that will run the manager: that thread's connection
 *  to the bus becomes the process's.
 *
 *  @param[out]  aError  0, or why there is no manager (below).
 *  @param[in]   aQueue  The application's event queue, with whose watchdog the
 *                       run loop registers; it must outlive the manager. Null:
 *                       the loop registers nowhere.
 *
 *  @returns a manager that the caller deletes, on the thread that made it and
 *           after Run has returned; null on failure, with @a aError
 *           -2  when the manager or its radio controller could not be allocated,
 *           -7  when a lock or a queue could not be made,
 *           or any code with which the bus, the ConnMan client, the stored
 *           provisions or the radio controller refused.
 */
ZQ_EXPORT Manager *CreateManager(zqError &aError, zqEventQueue *aQueue);

} // namespace zq::NetworkManager

#endif // ZQNETWORKMANAGER_FACTORY_H
