/* host: yes */
/* A small open-addressing hash table with string keys (djb2 hash kept to
   16 bits), insertion, lookup and update. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("fw_hash: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

#define SLOTS 16

struct entry {
    char key[8];
    int value;
    int used;
};

static struct entry table[SLOTS];

static unsigned hash(char *s)
{
    unsigned h = 5381;
    while (*s)
        h = (h * 33u + (unsigned char)*s++) & 0xFFFFu;
    return h;
}

static int same(char *a, char *b)
{
    while (*a && *a == *b)
        a++, b++;
    return *a == *b;
}

static struct entry *slot(char *key)
{
    unsigned i = hash(key) % SLOTS;
    int probes;
    for (probes = 0; probes < SLOTS; probes++) {
        if (!table[i].used || same(table[i].key, key))
            return &table[i];
        i = (i + 1) % SLOTS;
    }
    return 0;
}

static int put(char *key, int value)
{
    struct entry *e = slot(key);
    int k;
    if (!e)
        return 0;
    for (k = 0; key[k] && k < 7; k++)
        e->key[k] = key[k];
    e->key[k] = 0;
    e->value = value;
    e->used = 1;
    return 1;
}

static int get(char *key, int missing)
{
    struct entry *e = slot(key);
    return e && e->used ? e->value : missing;
}

int main(void)
{
    static char *names[] = { "adc", "pwm", "uart", "spi", "i2c", "can", "gpio", "timer" };
    int i, ok = 1;
    check(1, hash("") == 5381 && hash("a") == 46598u);   /* (5381 * 33 + 'a') mod 65536: 177670 - 131072 */
    for (i = 0; i < 8; i++)
        ok &= put(names[i], i * 10);
    check(2, ok);
    for (i = 0; i < 8; i++)
        ok &= get(names[i], -1) == i * 10;
    check(3, ok);
    check(4, get("dma", -1) == -1);
    put("spi", 99);
    check(5, get("spi", -1) == 99 && get("uart", -1) == 20);
    return first_fail;
}
