// Between premultiplied and straight colours.

// What the channels of a premultiplied colour of this alpha are multiplied by to become straight.
float straightening(float alpha) {
  return alpha > 0.0 ? 1.0 / alpha : 0.0;
}

vec4 toStraight(vec4 p) {
  return vec4(p.rgb * straightening(p.a), p.a);
}

vec4 toPremultiplied(vec4 p) {
  return vec4(p.rgb * p.a, p.a);
}
