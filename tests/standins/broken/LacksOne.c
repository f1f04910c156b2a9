/* An NDI runtime with every operation but NDIlib_send_destroy. Nothing here is ever called. */
#define OPERATION(name) \
    void name(void);    \
    void name(void) {}

OPERATION(NDIlib_initialize)
OPERATION(NDIlib_destroy)
OPERATION(NDIlib_find_create_v2)
OPERATION(NDIlib_find_wait_for_sources)
OPERATION(NDIlib_find_get_current_sources)
OPERATION(NDIlib_find_destroy)
OPERATION(NDIlib_recv_create_v3)
OPERATION(NDIlib_recv_connect)
OPERATION(NDIlib_recv_capture_v2)
OPERATION(NDIlib_recv_free_video_v2)
OPERATION(NDIlib_recv_free_audio_v2)
OPERATION(NDIlib_recv_destroy)
OPERATION(NDIlib_send_create)
OPERATION(NDIlib_send_send_video_v2)
OPERATION(NDIlib_send_send_audio_v2)

#ifdef NULL_OPERATION
/* The name is there, and nothing behind it. */
__asm__(".globl NDIlib_send_destroy\n.set NDIlib_send_destroy, 0");
#endif
