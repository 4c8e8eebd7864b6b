/* Every type and constant of the public headers, as debug information: the libraries themselves hold only those that
 * their functions name. Compiled without throwing unused types away. */
#include "vekcore.h"
#include "vekr.h"

VekStatus vekrInterfaceTypes(void) { return vekOk; }
