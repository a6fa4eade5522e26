! Positive definite systems in Fortran: options need no lengths behind them under the short names of the module.
program short_names
  use, intrinsic :: iso_c_binding
  use nuv_lapack
  implicit none
  real(c_double) :: a(3, 3) = 0, b(3) = [4, 0, 4]
  integer(c_int) :: i, info

  do i = 1, 3
    a(i, i) = 2
    if (i > 1) a(i, i - 1) = -1
  end do
  call nuv_dpotrf('L', 3, a, 3, info)
  if (info == 0) call nuv_dpotrs('L', 3, 1, a, 3, b, 3, info)
  if (info /= 0) stop 1
  print '(a, 3f8.4)', 'x =', b
end program short_names
