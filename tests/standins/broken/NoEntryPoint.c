/* A DeckLink driver of another generation: its entry point has another name. */
void* CreateDeckLinkIteratorInstance_0001(void);
void* CreateDeckLinkIteratorInstance_0001(void) {
    return 0;
}

#ifdef NULL_ENTRY_POINT
__asm__(".globl CreateDeckLinkIteratorInstance_0004\n.set CreateDeckLinkIteratorInstance_0004, 0");
#endif
