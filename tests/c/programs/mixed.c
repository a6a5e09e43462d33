/* Does not compile: a handle of one kind where another is wanted. With MATCHED it does. */
#include <travik/travik.h>

uint32_t mixed(travik_machine machine, travik_progress progress)
{
#ifdef MATCHED
    return travik_releaseMachine(machine) + travik_releaseProgress(progress);
#else
    (void)machine;
    return travik_releaseMachine(progress) + travik_releaseProgress(progress);
#endif
}
