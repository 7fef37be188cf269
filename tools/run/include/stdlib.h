/* stdlib.h for programs run by zpc-run: the two ways of ending a program
   that the runner provides itself, and nothing else. exit's status is
   the runner's exit status (its low 8 bits); abort stops the run with a
   fault message. */
#ifndef _ZPC_RUN_STDLIB_H
#define _ZPC_RUN_STDLIB_H

#ifndef _SIZE_T
#define _SIZE_T
typedef unsigned int size_t;
#endif

#ifndef NULL
#define NULL ((void *)0)
#endif

#define EXIT_SUCCESS 0
#define EXIT_FAILURE 1

void abort(void);
void exit(int status);

#endif
