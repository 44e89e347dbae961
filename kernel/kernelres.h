/* Resource ids of the Kernel's own module. */
#ifndef KERNELRES_H
#define KERNELRES_H

/* Texts of the version rule. */
#define IDS_VERSION_OLDOS        3900
#define IDS_VERSION_INCOMPATIBLE 3901
#define IDS_VERSION_TOOOLD       3902

#endif
