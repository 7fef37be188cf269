/* host: yes */
/* Struct assignment, structs passed to and returned from functions by
   value: the callee works on a copy. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("struct_assign: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

struct vec {
    int x, y;
    long z;
};

struct packet {
    unsigned char tag;
    char name[6];
    struct vec pos;
};

static struct vec add(struct vec a, struct vec b)
{
    a.x += b.x;
    a.y += b.y;
    a.z += b.z;
    return a;
}

static void clobber(struct packet p)
{
    p.tag = 0;
    p.name[0] = 0;
    p.pos.x = 0;
}

static struct packet make(int tag)
{
    struct packet p;
    p.tag = (unsigned char)tag;
    p.name[0] = 'p';
    p.name[1] = 0;
    p.pos.x = tag * 2;
    p.pos.y = -tag;
    p.pos.z = 100000L;
    return p;
}

int main(void)
{
    struct vec a = { 1, 2, 3L }, b = { 10, 20, 70000L }, c;
    struct packet p, q;

    c = add(a, b);
    check(1, c.x == 11 && c.y == 22 && c.z == 70003L);
    check(2, a.x == 1 && a.z == 3L);       /* the arguments were copies */
    p = make(7);
    check(3, p.tag == 7 && p.name[0] == 'p' && p.pos.x == 14 && p.pos.y == -7 && p.pos.z == 100000L);
    q = p;
    q.pos.x = 99;
    check(4, p.pos.x == 14 && q.pos.x == 99 && q.name[0] == 'p');
    clobber(p);
    check(5, p.tag == 7 && p.name[0] == 'p' && p.pos.x == 14);
    c = add(add(a, a), make(3).pos);
    check(6, c.x == 8 && c.y == 1 && c.z == 100006L);
    a = b = c;
    check(7, a.x == 8 && b.z == 100006L);
    check(8, make(5).pos.y == -5);
    return first_fail;
}
