void keepTime();

int main()
{
    keepTime();
}
