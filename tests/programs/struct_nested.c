/* host: yes */
/* Nested structs, arrays of structs and arrays inside structs, reached by
   member, index and pointer. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("struct_nested: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

struct date {
    int year;
    unsigned char month, day;
};

struct employee {
    char initials[3];
    struct date born;
    int scores[3];
    struct employee *boss;
};

static struct employee staff[4];

static int total(struct employee *e)
{
    return e->scores[0] + e->scores[1] + e->scores[2];
}

static struct employee *oldest(struct employee *e, int n)
{
    struct employee *best = e;
    while (--n > 0) {
        e++;
        if (e->born.year < best->born.year
            || (e->born.year == best->born.year && e->born.month < best->born.month))
            best = e;
    }
    return best;
}

int main(void)
{
    int i;
    struct employee *top;

    for (i = 0; i < 4; i++) {
        staff[i].initials[0] = 'A' + i;
        staff[i].initials[1] = 'Z' - i;
        staff[i].initials[2] = 0;
        staff[i].born.year = 1980 + (i * 7) % 5;   /* 1980, 1982, 1984, 1981 */
        staff[i].born.month = (unsigned char)(12 - i);
        staff[i].born.day = (unsigned char)(i + 1);
        staff[i].scores[0] = i;
        staff[i].scores[1] = i * 10;
        staff[i].scores[2] = i * 100;
        staff[i].boss = i ? &staff[0] : 0;
    }
    check(1, staff[3].born.year == 1981 && staff[2].born.year == 1984);
    check(2, total(&staff[2]) == 222);
    top = oldest(staff, 4);
    check(3, top == staff && top->initials[0] == 'A');
    check(4, staff[3].boss->born.month == 12 && staff[0].boss == 0);
    check(5, (staff + 1)->initials[1] == 'Y' && (*(staff + 2)).born.day == 3);
    staff[1].born = staff[3].born;
    check(6, staff[1].born.year == 1981 && staff[1].born.month == 9);
    staff[3].boss->scores[2] = 7;
    check(7, staff[0].scores[2] == 7 && total(staff) == 7);
    check(8, &staff[3].scores[1] - &staff[3].scores[0] == 1);
    return first_fail;
}
