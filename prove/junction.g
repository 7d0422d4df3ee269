# How much rounding changes the leftover of a phase after a junction, for one time step T and lengths from A to B.
# scripts/prove puts the numbers in.
#
#   t = len - (T - c),  q = t / T,  n = whole part of (q + 0.015),  rest = (q - n) T,  every operation rounded to single
#
# With R = 2^-22 (A + T): the rest differs from the exact leftover by at most R, and the exact leftover lies between
# -0.015 T and 0.985 T, to within R.

@single = float<ieee_32, ne>;

T = @T@;
F = 0x1.eb851ep-7;  # the float 0.015
len = single(anyLength);
c = single(anyTime);
u single= T - c;
t single= len - u;
q single= t / T;
s single= q + F;
d single= q - n;
rest single= d * T;

leftover = len + c - T - n * T;

{
    len in [@A@, @B@] /\ c in [0, @T@] /\ s - n in [0, 1]
    ->
    rest - leftover in [-@R@, @R@] /\ leftover in [@LOW@, @HIGH@]
}

rest - leftover -> (rest - d * T) + (d - (q - n)) * T + (q - t / T) * T + (t - (len - u)) - (u - (T - c));
leftover -> (q - n) * T - (q - t / T) * T - (t - (len - u)) + (u - (T - c));
q - n -> (s - n) - (s - (q + F)) - F;
