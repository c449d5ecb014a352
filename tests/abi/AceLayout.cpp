// What ACE's headers make of the classes that the library shares with libACE. Compiled twice: with the library's times,
// and with those that libACE has.

#include "AceLayout.h"

#include <ace/Dirent_Selector.h>
#include <ace/Recursive_Thread_Mutex.h>
#include <ace/Task.h>
#include <ace/Thread_Mutex.h>
#include <ace/Time_Value.h>

#include <cstddef>

SAceLayout QUARN_LAYOUT()
{
    return {
        sizeof(ACE_Time_Value),
        {sizeof(ACE_Task_Base), sizeof(ACE_Recursive_Thread_Mutex), sizeof(ACE_Thread_Mutex),
         sizeof(ACE_Dirent_Selector), sizeof(ACE_DIRENT), offsetof(ACE_DIRENT, d_name)},
    };
}
