/* host: yes */
/* Arrays of arrays: row pointers, pointer differences across rows, and a
   matrix product through functions taking pointers to rows. */
int printf(const char *, ...);

static int first_fail;

static void check(int n, int ok)
{
    if (!ok) {
        printf("ptr_2d_arrays: check %d failed\n", n);
        if (!first_fail)
            first_fail = n;
    }
}

static int m[3][4];

static void matmul(int (*a)[2], int (*b)[2], int (*r)[2])
{
    int i, j, k;
    for (i = 0; i < 2; i++)
        for (j = 0; j < 2; j++) {
            r[i][j] = 0;
            for (k = 0; k < 2; k++)
                r[i][j] += a[i][k] * b[k][j];
        }
}

static int row_sum(int (*rows)[4], int row)
{
    int s = 0, j;
    for (j = 0; j < 4; j++)
        s += rows[row][j];
    return s;
}

int main(void)
{
    int a[2][2] = { { 1, 2 }, { 3, 4 } };
    int b[2][2] = { { 5, 6 }, { 7, 8 } };
    int r[2][2];
    int (*rp)[4] = m;
    int i, j;
    char names[3][6] = { "one", "two", "three" };

    for (i = 0; i < 3; i++)
        for (j = 0; j < 4; j++)
            m[i][j] = i * 10 + j;
    check(1, sizeof m == 12 * sizeof(int) && sizeof m[0] == 4 * sizeof(int));
    check(2, (m + 1) - m == 1 && m[1] - m[0] == 4);
    check(3, &m[2][3] - &m[0][0] == 11);
    check(4, rp[2][1] == 21 && (*(rp + 1))[3] == 13);
    check(5, *(*(m + 2) + 2) == 22);
    check(6, row_sum(m, 1) == 10 + 11 + 12 + 13);
    matmul(a, b, r);
    check(7, r[0][0] == 19 && r[0][1] == 22 && r[1][0] == 43 && r[1][1] == 50);
    rp++;
    check(8, rp[0][0] == 10 && rp == &m[1]);
    check(9, names[2][4] == 'e' && names[1][3] == 0 && names[0][5] == 0);
    check(10, sizeof names == 18);
    check(11, ((int *)m)[5] == 11);   /* rows are laid out one after another */
    return first_fail;
}
