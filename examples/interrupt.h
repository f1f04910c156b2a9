/* Ends a host in order when it is interrupted or told to end. */
#ifndef INTERRUPT_H
#define INTERRUPT_H

#ifdef __cplusplus
extern "C" {
#endif

/* Notes the first SIGINT or SIGTERM from now on. The second one ends the process. */
void catch_interrupt(void);

/* 1 from the first one on. */
int is_interrupted(void);

#ifdef __cplusplus
}
#endif

#endif
