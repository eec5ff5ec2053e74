#version 450
#extension GL_GOOGLE_include_directive : require
#include "compute.glsl"

// Functions chosen by the column and of a number for each row, so that neighbouring lanes part and
// meet at every turn, with values of the whole row among them.

// Lanes leave at different times, by two ways, with values of that time.
int leave(int x, int row) {
  int last = -1;
  int i = 0;
  for (; i < 12; ++i) {
    last = i * row + x;
    if (last > 40 + x) {
      last = -last;
      break;
    }
    if ((i ^ x) == 5) {
      return last + 1000;
    }
  }
  return last * 16 + i;
}

// A loop of the whole row within a branch of a few lanes.
int counted(int x, int row) {
  int sum = x;
  if (x % 3 == 1) {
    for (int i = 0; i < row; ++i) {
      sum += i * i;
    }
    sum *= 2;
  } else if (x % 5 == 2) {
    int i = row;
    while (i > 0) {
      if (i == 4) {
        break;
      }
      --i;
    }
    sum -= i;
  }
  return sum;
}

// Loops in loops, of which the inner one is left for both.
int nested(int x, int row) {
  int sum = 0;
  for (int i = 0; i < 6; ++i) {
    for (int j = 0; j < 8; ++j) {
      if (((i * j) ^ x) == 9) {
        return sum;
      }
      if ((j & x) == 4) {
        break;
      }
      if (((j + row) & 3) == 1) {
        continue;
      }
      sum += i + j * x;
    }
    if (sum > 300 + row) {
      break;
    }
  }
  return sum + 7;
}

// Two values that change places.
int fibonacci(int x, int row) {
  int a = row;
  int b = 1;
  int steps = 0;
  while (a < x * 9) {
    int sum = a + b;
    a = b;
    b = sum;
    ++steps;
  }
  return a * 100 + b + steps;
}

// Memory of each lane's own, written in a branch.
int stored(int x, int row) {
  int slots[6];
  for (int i = 0; i < 6; ++i) {
    slots[i] = i * row;
  }
  for (int i = 0; i < x % 4; ++i) {
    slots[(x + i * row) % 6] += x;
  }
  return slots[x % 6] * 31 + slots[(row + 2) % 6];
}

int chosen(int x, int row) {
  int y = row;
  switch ((x + row) % 5) {
    case 0:
      y += 10;
    case 1:
      y *= 3;
      break;
    case 2:
      if (row > 6) {
        break;
      }
      return -y;
    default:
      y ^= x;
  }
  return y;
}

uint result(uvec2 at) {
  int x = int(at.x);
  int row = int(at.y);
  switch (x % 7) {
    case 0:
      return uint(leave(x, row));
    case 1:
      return uint(counted(x, row));
    case 2:
      return uint(nested(x, row));
    case 3:
      return uint(fibonacci(x, row));
    case 4:
      return uint(stored(x, row));
    case 5:
      return uint(chosen(x, row));
  }
  return uint(leave(x / 7, row) + nested(x / 7, row) + counted(x / 7, row));
}
