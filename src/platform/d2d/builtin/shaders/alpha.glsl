// Between premultiplied and straight colours.

vec4 toStraight(vec4 p) {
  return p.a > 0.0 ? vec4(p.rgb / p.a, p.a) : vec4(0.0);
}

vec4 toPremultiplied(vec4 p) {
  return vec4(p.rgb * p.a, p.a);
}
