/* Included by every self-checking program: CHECK prints the line of each
   check that fails and counts it; main returns the count, so 0 means every
   check passed. */
int printf(const char *format, ...);
static int failures;
#define CHECK(cond) ((cond) ? 0 : (printf("%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond), ++failures))
