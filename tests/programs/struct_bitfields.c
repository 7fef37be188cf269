/* Bit-fields: values wrap to their width, neighbours are not disturbed.
   Every bit-field of this target is unsigned, so all fields here are. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("struct_bitfields: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

struct status {
    unsigned ready : 1;
    unsigned mode : 3;
    unsigned count : 4;
    unsigned level : 8;
};

struct wide {
    unsigned long low : 20;
    unsigned long high : 12;
};

static struct status st;

int main(void)
{
    struct wide w;
    int i;

    st.ready = 1;
    st.mode = 5;
    st.count = 15;
    st.level = 200;
    check(1, st.ready == 1 && st.mode == 5 && st.count == 15 && st.level == 200);
    st.count++;
    check(2, st.count == 0 && st.mode == 5 && st.level == 200);   /* 16 wraps in 4 bits */
    st.mode = 9;
    check(3, st.mode == 1 && st.ready == 1);                     /* 9 keeps its low 3 bits */
    st.level += 100;
    check(4, st.level == 44 && st.count == 0);                   /* 300 - 256 */
    for (i = 0; i < 20; i++)
        st.count += 1;
    check(5, st.count == 4);                                     /* 20 mod 16 */
    w.low = 0xFFFFFUL;
    w.high = 0xABC;
    check(6, w.low == 0xFFFFFUL && w.high == 0xABC);
    w.low++;
    check(7, w.low == 0 && w.high == 0xABC);
    w.high = w.high >> 4;
    check(8, w.high == 0xAB);
    st.ready = 0;
    check(9, !st.ready && st.mode + st.count == 5);
    st.level = -1;
    check(10, st.level == 255);
    return first_fail;
}
