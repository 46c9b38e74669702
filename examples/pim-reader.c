/* A PIM daemon in small: prints what it must pull, and then each change, from an event loop that ends
 * when its standard input does. */
#define _POSIX_C_SOURCE 200112L
#include <arpa/inet.h>
#include <gmp_table.h>
#include <poll.h>
#include <stdio.h>
#include <unistd.h>

static void print(char sign, const gmp_status_key *status, const gmp_membership *one) {
    const int family = one->group.family == GMP_FAMILY_IPV6 ? AF_INET6 : AF_INET;
    char source[INET6_ADDRSTRLEN], group[INET6_ADDRSTRLEN];
    inet_ntop(family, one->source.bytes, source, sizeof source);
    inet_ntop(family, one->group.bytes, group, sizeof group);
    printf("%c %s: (%s, %s) on vlan%u, %s\n", sign, status->vrf, source, group, (unsigned)one->vlan,
           one->mode == GMP_INCLUDE ? "include" : "exclude");
}

static int met(void *context, const gmp_status_key *status, const gmp_membership *one) {
    (void)context;
    print('=', status, one);
    return 0;
}

static int changed(void *context, const gmp_change *change) {
    (void)context;
    switch (change->kind) {
    case GMP_MEMBERSHIP_ADDED: print('+', &change->status, &change->membership); break;
    case GMP_MEMBERSHIP_CHANGED: print('~', &change->status, &change->membership); break;
    case GMP_MEMBERSHIP_REMOVED: print('-', &change->status, &change->membership); break;
    case GMP_STATUS_REMOVED: printf("- %s: all\n", change->status.vrf); break;
    }
    return 0;
}

int main(int argc, char **argv) {
    gmp_table *table = NULL;
    struct pollfd events[2] = {{STDIN_FILENO, POLLIN, 0}, {-1, POLLIN, 0}};
    char byte;
    int result = gmp_table_open(argc == 2 ? argv[1] : "", &table);
    if (result == GMP_OK) events[1].fd = gmp_table_descriptor(table);
    if (result == GMP_OK && events[1].fd < 0) result = events[1].fd;
    if (result == GMP_OK) result = gmp_table_walk(table, NULL, met, NULL);
    while (result == GMP_OK) {
        fflush(stdout);
        if (poll(events, 2, -1) < 0) continue;
        if (events[0].revents != 0 && read(STDIN_FILENO, &byte, 1) <= 0) break;
        if (events[1].revents == 0) continue;
        result = gmp_table_changes(table, changed, NULL);
        if (result == GMP_WALK_NEEDED) {
            puts("the table, anew:"); /* what is not met now is wanted no more */
            result = gmp_table_walk(table, NULL, met, NULL);
        }
    }
    if (result < 0) fprintf(stderr, "pim-reader: %s\n", gmp_error_text());
    gmp_table_close(table);
    return result < 0;
}
