/* A plain C caller of the shared library, public header only.
 *   client open                 prints the descriptor TE_MOR_LIPCOpen gives
 *   client send HEX [HEX...]    one socket, one exchange per request;
 *                               prints "RESULT REPLYHEX" per exchange   */
#define _POSIX_C_SOURCE 200809L
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <te_mor.h>

static size_t unhex(const char *text, uint8_t *out, size_t room) {
    size_t n = 0;
    while (text[0] != '\0' && text[1] != '\0' && n < room) {
        unsigned v;
        if (sscanf(text, "%2x", &v) != 1) break;
        out[n++] = (uint8_t)v;
        text += 2;
    }
    return n;
}

int main(int argc, char **argv) {
    if (argc >= 2 && strcmp(argv[1], "open") == 0) {
        int fd = TE_MOR_LIPCOpen();
        printf("%d\n", fd);
        if (fd >= 0) TE_MOR_LIPCClose(fd);
        return 0;
    }
    if (argc >= 3 && strcmp(argv[1], "send") == 0) {
        int fd = TE_MOR_LIPCOpen();
        if (fd < 0) {
            printf("open-failed\n");
            return 0;
        }
        for (int i = 2; i < argc; ++i) {
            static uint8_t request[4096], reply[TE_MOR_MSG_MAX];
            size_t n = unhex(argv[i], request, sizeof request);
            memset(reply, 0, sizeof reply);
            uint32_t rc = TE_MOR_SendMsg(fd, request, (uint32_t)n, reply);
            size_t shown = 8u + (size_t)((reply[2] << 8) | reply[3]);
            if (shown > sizeof reply) shown = sizeof reply;
            printf("%08x ", (unsigned)rc);
            for (size_t k = 0; k < shown; ++k) printf("%02x", reply[k]);
            printf("\n");
        }
        TE_MOR_LIPCClose(fd);
        return 0;
    }
    fprintf(stderr, "usage: client open | client send HEX...\n");
    return 2;
}
