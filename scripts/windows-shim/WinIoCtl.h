/* The header as Berkeley DB names it, on a file system that tells letter case apart. */
#include <winioctl.h>
