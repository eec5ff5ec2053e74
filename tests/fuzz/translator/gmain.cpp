#include "program.h"
#include <cstdio>
#include <cstdlib>
using namespace Vantra::TranslatorFuzz;
int main(int c,char**v){ for(int i=0;i<atoi(v[2]);++i){ auto p=Generate(atoll(v[1])+i); char n[200]; snprintf(n,200,"%s/%d.frag",v[3],atoi(v[1])+i); FILE*f=fopen(n,"w"); fputs(PrintGlsl(p).c_str(),f); fclose(f);} }
