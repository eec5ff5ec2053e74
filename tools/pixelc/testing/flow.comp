#version 450
#extension GL_GOOGLE_include_directive : require
#include "compute.glsl"

// One function of a number for each row of the grid, for what control flow and memory there is. The
// test says the same in its own words.

int early(int x) {
  for (int i = 0; i < 20; ++i) {
    if (x % 7 == 3) {
      return x * 2;
    }
    if (i > x) {
      return -i;
    }
    x += 3;
  }
  return x;
}

int nested(int x) {
  int sum = 0;
  for (int i = 0; i < x; ++i) {
    if ((i & 3) == 2) {
      continue;
    }
    for (int j = i;; ++j) {
      sum += j ^ x;
      if (sum % 5 == 0 || j > i + x) {
        break;
      }
    }
    if (sum > 200) {
      break;
    }
  }
  return sum;
}

int chosen(int x) {
  int y = x;
  switch (x % 6) {
    case 0:
      y += 10;
    case 1:
      y *= 3;
      break;
    case 2:
    case 4:
      if (x > 10) {
        break;
      }
      y -= 100;
    default:
      y ^= 5;
      break;
    case 3:
      return 77;
  }
  return y + 1;
}

const int kTable[7] = int[](5, -3, 8, 0, 2, 11, -6);

int table(int x) {
  return kTable[x % 7] * 100 + kTable[(x * x) % 7];
}

struct Part {
  vec2 place;
  int kind;
  bool on;
};

int parts(int x) {
  Part list[5];
  for (int i = 0; i < 5; ++i) {
    list[i] = Part(vec2(float(i), float(x)), i * x, (i & 1) == 0);
  }
  list[x % 5].kind += 1000;
  list[(x + 1) % 5].place.y = 0.5;
  list[(x + 2) % 5].on = !list[(x + 3) % 5].on;
  Part one = list[(x * 3) % 5];
  list[x % 3] = one;
  int sum = 0;
  for (int i = 0; i < 5; ++i) {
    sum = sum * 3 + list[i].kind + int(list[i].place.x * 4.0 + list[i].place.y * 2.0) +
          (list[i].on ? 1 : 0);
  }
  return sum;
}

int swapped(int x) {
  int a = x;
  int b = 1;
  while (a > 0) {
    int t = b;
    b = a - 1;
    a = t - 2;
  }
  do {
    b += 2;
  } while (b < 9);
  return a * 100 + b;
}

// Choices of whole rows, of which one parts the lanes and others go to where they meet again.
int rejoined(int x, int row) {
  int slots[4] = int[](x, row, 1, 2);
  int sum = x;
  for (int i = 0; i < row; ++i) {
    switch ((row + i) & 3) {
      case 0:
        if ((x & 1) == 0) {
          slots[x & 3] += i;
          continue;
        }
        break;
      case 1:
        sum ^= row;
        break;
      case 2:
        if (i > 4) {
          return sum + slots[row & 3];
        }
    }
    slots[i & 3] += sum;
    sum = sum * 3 + row * i;
  }
  return sum + slots[row & 3];
}

uint result(uvec2 at) {
  int x = int(at.x);
  if (at.y == 0) {
    return uint(early(x));
  }
  if (at.y == 1) {
    return uint(nested(x));
  }
  if (at.y == 2) {
    return uint(chosen(x));
  }
  if (at.y == 3) {
    return uint(table(x));
  }
  if (at.y < 6) {
    return uint(at.y == 4 ? parts(x) : swapped(x));
  }
  return uint(rejoined(x, int(at.y) - 4));
}
