/* The smallest navigation application of the installed library: built by
 * scripts/check-installed once with `pkg-config --cflags --libs bkmp` and once
 * with find_package(bkmp), then run. In C, so that it also proves the header
 * fit for C programs. */
#include <bkmp.h>
#include <stdio.h>

int main(void) {
  BKMPMessage message = 0;
  BKMPMessage decoded = 0;
  unsigned char frame[256];
  int length = 0;
  int used = 0;
  int32_t orderId = 0;
  if (BKMPMessageCreate(&message) != BKMP_OK || BKMPSetFieldInt32(message, "OrderId", 1001) != BKMP_OK ||
      BKMPMessageEncode(message, frame, (int)sizeof(frame), &length) != BKMP_OK ||
      BKMPMessageDecode(frame, length, &used, &decoded) != BKMP_OK || used != length ||
      BKMPGetFieldInt32(decoded, "OrderId", &orderId) != BKMP_OK || orderId != 1001) {
    fprintf(stderr, "bkmp_client: a message didn't survive its frame\n");
    return 1;
  }
  BKMPMessageDestroy(decoded);
  BKMPMessageDestroy(message);
  printf("bkmp_client: OrderId=%d through a %d-byte frame\n", (int)orderId, length);
  return 0;
}
